#include "log/Dmd.h"

#include "hal/VyrHal.h"

Dmd::Dmd(VyrHal &hal) : mLog(hal) {}

bool Dmd::Init() {
    LOGI("+");
    return true;
}
