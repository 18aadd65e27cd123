// The marker pattern of the simulated TOF camera, shared by the stand-in face
// library "libface3d_sdk.so" (which reads it), vyrd's frame generator and the
// tests (which draw it).
//
// A TOF frame is a 640 x 480 IR image, one byte a pixel. The first 16 bytes
// of its first row carry the scene:
//   0..3   'F' 'A' 'C' 'E'   a face is in front of the camera; anything else
//                            there means nobody
//   4      orientation       the screen orientation the face reads, 0 to 3:
//                            0 upright, 1 face turned left (landscape),
//                            2 upside down, 3 face turned right
//   5      gaze              1 eyes on the screen, 0 eyes off it
//   6      identity          0 a stranger, 1 to 255 the tag of a person; a
//                            template drawn with a tag enrols that person
//   7      reserved, 0
//   8..11  exposure          the exposure the library asks for next
//                            (little-endian); 0 keeps the frame's own
//   12..15 reserved, 0
// Detection results: nobody gives status 1 and no face; a face with eyes on
// the screen status 0, with eyes off it status 5; face count 1 and the
// orientation of the marker. The rest of the image is only painted (a bright
// oval where the face is) for whoever looks at a saved frame.
#pragma once

#include <stdint.h>
#include <string.h>

#define FACE3D_SIM_WIDTH 640
#define FACE3D_SIM_HEIGHT 480
#define FACE3D_SIM_IMAGE_BYTES (FACE3D_SIM_WIDTH * FACE3D_SIM_HEIGHT)
#define FACE3D_SIM_MARKER_BYTES 16

typedef struct face3d_sim_scene_t {
    int32_t present;      // 0 nobody
    int32_t orientation;  // 0 to 3
    int32_t gaze;         // 1 eyes on the screen
    int32_t identity;     // 0 stranger, 1 to 255 a person
    uint32_t exposure;    // asked for the next frame; 0 keeps the frame's
} face3d_sim_scene_t;

// Paints the scene into a 640 x 480 image of `size` bytes (at least
// FACE3D_SIM_IMAGE_BYTES).
static inline void Face3dSimDraw(uint8_t *image, uint32_t size, const face3d_sim_scene_t *scene) {
    if (image == NULL || scene == NULL || size < FACE3D_SIM_IMAGE_BYTES) {
        return;
    }
    memset(image, 16, FACE3D_SIM_IMAGE_BYTES);
    if (scene->present) {
        const int32_t cx = FACE3D_SIM_WIDTH / 2;
        const int32_t cy = FACE3D_SIM_HEIGHT / 2;
        for (int32_t y = cy - 120; y < cy + 120; ++y) {
            for (int32_t x = cx - 90; x < cx + 90; ++x) {
                const int32_t dx = x - cx;
                const int32_t dy = y - cy;
                if (dx * dx * 16 + dy * dy * 9 < 90 * 90 * 16) {
                    image[y * FACE3D_SIM_WIDTH + x] = 200;
                }
            }
        }
        image[0] = 'F';
        image[1] = 'A';
        image[2] = 'C';
        image[3] = 'E';
        image[4] = (uint8_t)(scene->orientation & 0x3);
        image[5] = (uint8_t)(scene->gaze ? 1 : 0);
        image[6] = (uint8_t)(scene->identity & 0xff);
        image[7] = 0;
    } else {
        memset(image, 16, FACE3D_SIM_MARKER_BYTES);
    }
    image[8] = (uint8_t)(scene->exposure & 0xff);
    image[9] = (uint8_t)((scene->exposure >> 8) & 0xff);
    image[10] = (uint8_t)((scene->exposure >> 16) & 0xff);
    image[11] = (uint8_t)((scene->exposure >> 24) & 0xff);
}

// Reads the scene back from an image; false for a short image.
static inline int Face3dSimRead(const uint8_t *image, uint64_t size, face3d_sim_scene_t *scene) {
    if (image == NULL || scene == NULL || size < FACE3D_SIM_MARKER_BYTES) {
        return 0;
    }
    memset(scene, 0, sizeof(*scene));
    scene->present = memcmp(image, "FACE", 4) == 0;
    if (scene->present) {
        scene->orientation = image[4] & 0x3;
        scene->gaze = image[5] != 0;
        scene->identity = image[6];
    }
    scene->exposure = (uint32_t)image[8] | ((uint32_t)image[9] << 8) | ((uint32_t)image[10] << 16) |
                      ((uint32_t)image[11] << 24);
    return 1;
}

// Test controls exported by the stand-in:
// Face3dSimDestroyCount: how often face3d_algo_destory ran.
typedef int32_t (*Face3dSimDestroyCount_t)(void);
// Face3dSimSetDetectDelayMs: every face3d_algo_detect from now on takes `ms`
// milliseconds more (0 stops it), as a real detector that is slower than the
// frame rate would. Returns the previous delay.
typedef int32_t (*Face3dSimSetDetectDelayMs_t)(int32_t ms);
// Face3dSimSetStatus: with `force` non-zero every detection from now on
// reports `status` (0xFFFFFFFF included) whatever the marker says; the rest
// of the result still follows the marker. 0 goes back to the marker's status.
typedef void (*Face3dSimSetStatus_t)(int32_t force, int32_t status);
// Face3dSimSetDetectBusy: with 1 the delay above is time on the processor
// (the thread computes, as a real detector does) instead of a sleep; 0, the
// start, sleeps. Returns the previous setting.
typedef int32_t (*Face3dSimSetDetectBusy_t)(int32_t busy);
