#include "sensor/SensorQueue.h"

#include <new>

SensorQueue::~SensorQueue() {
    Free(mHead);
    Free(mSpare);
}

void SensorQueue::Free(Chunk *chain) {
    while (chain != nullptr) {
        Chunk *next = chain->next;
        delete chain;
        chain = next;
    }
}

SensorMessage *SensorQueue::Append() {
    if (mTail == nullptr || mTail->count == Chunk::kCapacity) {
        Chunk *chunk = mSpare;
        if (chunk != nullptr) {
            mSpare = chunk->next;
            --mSpareCount;
        } else {
            chunk = new (std::nothrow) Chunk;
            if (chunk == nullptr) {
                return nullptr;
            }
        }
        chunk->count = 0;
        chunk->next = nullptr;
        if (mTail != nullptr) {
            mTail->next = chunk;
        } else {
            mHead = chunk;
        }
        mTail = chunk;
    }
    return &mTail->messages[mTail->count++];
}

SensorQueue::Chunk *SensorQueue::TakeAll() {
    Chunk *chain = mHead;
    mHead = nullptr;
    mTail = nullptr;
    return chain;
}

void SensorQueue::Recycle(Chunk *chain) {
    while (chain != nullptr && mSpareCount < kMaxSpare) {
        Chunk *next = chain->next;
        chain->next = mSpare;
        mSpare = chain;
        ++mSpareCount;
        chain = next;
    }
    Free(chain);
}
