// The Camera event queue: first in, first out, stored in blocks of 128
// entries. A block that empties is kept as the spare for the next block the
// tail needs, so a steady stream of frames allocates nothing once the first
// block stands. Not locked: the owner holds its event mutex around every
// call.
//
// TOF frames are perishable, so unlike a plain FIFO the queue bounds them:
// at most kMaxWaitingFrames frames wait, and a newer frame takes the place of
// the oldest waiting one, which leaves the queue (the gap closes, everything
// else keeps its order). Without this a face library slower than the camera
// (a real detector takes tens of milliseconds, frames come every 33) would
// let whole images pile up by megabytes a second. No other kind of event is
// ever dropped.
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
    // The kind of a TOF frame, the one kind that may be dropped.
    static constexpr uint32_t kFrameKind = 0;
    static constexpr size_t kMaxWaitingFrames = 2;

    bool Empty() const { return mSize == 0; }
    size_t Size() const { return mSize; }
    size_t WaitingFrames() const { return mFrames; }

    // Appends the event. True when it is a frame that pushed the oldest
    // waiting frame out; that frame is moved to `dropped` when given, so that
    // the caller can free its image outside its lock.
    bool Push(CameraEvent &&event, CameraEvent *dropped = nullptr) {
        const bool frame = event.kind == kFrameKind;
        if (mBlocks.empty() || mTail == kBlockEntries) {
            mBlocks.push_back(TakeBlock());
            mTail = 0;
        }
        (*mBlocks.back())[mTail++] = std::move(event);
        ++mSize;
        if (!frame) {
            return false;
        }
        if (++mFrames <= kMaxWaitingFrames) {
            return false;
        }
        CameraEvent oldest = EraseOldestFrame();
        if (dropped != nullptr) {
            *dropped = std::move(oldest);
        }
        return true;
    }

    // The front event, moved out; the queue must not be empty.
    CameraEvent Pop() {
        Block &front = *mBlocks.front();
        CameraEvent event = std::move(front[mHead]);
        front[mHead] = CameraEvent{};
        ++mHead;
        --mSize;
        if (event.kind == kFrameKind) {
            --mFrames;
        }
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
        mFrames = 0;
    }

private:
    using Block = std::array<CameraEvent, kBlockEntries>;

    std::unique_ptr<Block> TakeBlock() {
        if (mSpare != nullptr) {
            return std::move(mSpare);
        }
        return std::make_unique<Block>();
    }

    CameraEvent &At(size_t index) {
        const size_t slot = mHead + index;
        return (*mBlocks[slot / kBlockEntries])[slot % kBlockEntries];
    }

    // Takes the first frame out; the events behind it move up one place.
    // Only called with a frame just appended behind it, so the queue never
    // runs empty here.
    CameraEvent EraseOldestFrame() {
        size_t index = 0;
        while (At(index).kind != kFrameKind) {
            ++index;
        }
        CameraEvent oldest = std::move(At(index));
        for (; index + 1 < mSize; ++index) {
            At(index) = std::move(At(index + 1));
        }
        At(mSize - 1) = CameraEvent{};
        --mSize;
        --mFrames;
        if (--mTail == 0) {
            mSpare = std::move(mBlocks.back());
            mBlocks.pop_back();
            mTail = kBlockEntries;
        }
        return oldest;
    }

    std::deque<std::unique_ptr<Block>> mBlocks;
    std::unique_ptr<Block> mSpare;
    size_t mHead = 0;  // next to pop in the front block
    size_t mTail = 0;  // next free slot in the back block
    size_t mSize = 0;
    size_t mFrames = 0;  // TOF frames among the waiting events
};
