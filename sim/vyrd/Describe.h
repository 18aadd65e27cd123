// A short human text for a result message of the simulated phone, such as
// "flip: face down" (empty for messages it does not know).
#pragma once

#include <string>

#include "hal/vyr_hal.h"

namespace vyrd {

std::string Describe(const vyr_msg_t &msg);

}  // namespace vyrd
