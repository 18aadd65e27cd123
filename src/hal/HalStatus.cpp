#include "hal/HalStatus.h"

#include "platform/PropertyTable.h"

HalStatus::HalStatus() {
    PropertyTable props;
    props.GetHalStatus(mWord);
}

bool HalStatus::Get(uint32_t mask) {
    std::lock_guard<std::mutex> lock(mMutex);
    return (mWord & mask) != 0;
}

void HalStatus::Set(uint32_t mask) {
    Update(mask, true);
}

void HalStatus::Clear(uint32_t mask) {
    Update(mask, false);
}

void HalStatus::Update(uint32_t mask, bool on) {
    std::lock_guard<std::mutex> lock(mMutex);
    if (on) {
        mWord |= mask;
    } else {
        mWord &= ~mask;
    }
    Save();
}

uint32_t HalStatus::Word() {
    std::lock_guard<std::mutex> lock(mMutex);
    return mWord;
}

void HalStatus::Touch() {
    std::lock_guard<std::mutex> lock(mMutex);
}

void HalStatus::Save() {
    PropertyTable props;
    props.SetHalStatus(mWord);
}
