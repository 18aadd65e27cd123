// The Camera event queue: first in, first out, stored in blocks of 128
// entries. A block that empties is kept as the spare for the next block the
// tail needs, so a steady stream of frames allocates nothing once the first
// block stands. Not locked: the owner holds its event mutex around every
// call.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <utility>
#include <vector>

struct CameraEvent {
    uint32_t kind = 0;
    std::vector<uint8_t> data;
};

class CameraEventQueue {
public:
    static constexpr size_t kBlockEntries = 128;

    bool Empty() const { return mSize == 0; }
    size_t Size() const { return mSize; }

    void Push(CameraEvent &&event) {
        if (mBlocks.empty() || mTail == kBlockEntries) {
            mBlocks.push_back(TakeBlock());
            mTail = 0;
        }
        (*mBlocks.back())[mTail++] = std::move(event);
        ++mSize;
    }

    // The front event, moved out; the queue must not be empty.
    CameraEvent Pop() {
        Block &front = *mBlocks.front();
        CameraEvent event = std::move(front[mHead]);
        front[mHead] = CameraEvent{};
        ++mHead;
        --mSize;
        const bool lastBlock = mBlocks.size() == 1;
        if (mHead == kBlockEntries || (lastBlock && mHead == mTail)) {
            mSpare = std::move(mBlocks.front());
            mBlocks.pop_front();
            mHead = 0;
            if (lastBlock) {
                mTail = 0;
            }
        }
        return event;
    }

    void Clear() {
        mBlocks.clear();
        mHead = 0;
        mTail = 0;
        mSize = 0;
    }

private:
    using Block = std::array<CameraEvent, kBlockEntries>;

    std::unique_ptr<Block> TakeBlock() {
        if (mSpare != nullptr) {
            return std::move(mSpare);
        }
        return std::make_unique<Block>();
    }

    std::deque<std::unique_ptr<Block>> mBlocks;
    std::unique_ptr<Block> mSpare;
    size_t mHead = 0;  // next to pop in the front block
    size_t mTail = 0;  // next free slot in the back block
    size_t mSize = 0;
};
