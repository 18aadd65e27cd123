// The face enrolment package as it arrives in the fast message queue,
// little-endian. An init or delete package is the 20-byte header only; a
// template package carries `size` further bytes: the image description and
// the image enciphered with AES-256-GCM under the enrolment key.
#pragma once

#include <cstddef>
#include <cstdint>

namespace facepkg {

inline constexpr size_t kCode = 0;
inline constexpr size_t kImageType = 4;
inline constexpr size_t kSize = 8;  // bytes behind the header
inline constexpr size_t kUser = 12;
inline constexpr size_t kMore = 16;  // non-zero: further packages follow
inline constexpr size_t kHeaderBytes = 20;
inline constexpr size_t kIv = 20;
inline constexpr size_t kIvBytes = 12;
inline constexpr size_t kTag = 32;
inline constexpr size_t kTagBytes = 16;
inline constexpr size_t kFormat = 56;  // logged only
inline constexpr size_t kWidth = 60;
inline constexpr size_t kHeight = 64;
inline constexpr size_t kImageSize = 80;
inline constexpr size_t kImage = 88;

inline constexpr uint32_t kCodeTemplate = 0xA000;
inline constexpr uint32_t kCodeInit = 0xA100;
inline constexpr uint32_t kCodeDelete = 0xA200;

// The command of the always-on service that takes the enrolment key.
inline constexpr int32_t kAoKeyCommand = 127;
inline constexpr uint32_t kKeyBytes = 32;

// Slots: users 0 and 1 hold always-on images, 2 and 3 TOF images.
inline constexpr uint32_t kUsers = 4;
inline constexpr uint32_t kAoWidth = 320;
inline constexpr uint32_t kAoHeight = 240;

}  // namespace facepkg
