// The simulated phone's camera side for vyrd: TOF frames drawn with the
// marker pattern of the stand-in face library, light levels of the simulated
// sensor service, and scenarios of the simulated always-on service.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vyrd {

// "tof COUNT SCENE [INTERVAL_MS]": COUNT frames (1 to 600) of one scene, as
// fast message queue messages (0x9000), one per element. SCENE is one of
//   nobody        no face
//   screen        a face looking at the screen (upright)
//   away          a face with its eyes off the screen
//   left, right   a face turned left / right (orientation 1 / 3)
//   upside        a face upside down (orientation 2)
//   user:TAG      a face looking at the screen of the person TAG (1-255)
// optionally followed by ",exposure=N" (the exposure the library then asks
// for). INTERVAL_MS (default 33, 30 frames a second) is returned in
// *intervalMs. False with a reason in *error for a malformed parameter.
bool BuildTofFrames(const std::string &param, std::vector<std::vector<uint8_t>> &frames,
                    int *intervalMs, std::string *error);

// "light LUX": the light sensor of the simulated phone reads LUX from now
// on. The reply text.
std::string SetLight(const std::string &param);

// "facedelay MS": every detection of the stand-in face library takes MS
// milliseconds more from now on (0 ends it), a library slower than the
// frames. The reply text.
std::string SetFaceDelay(const std::string &param);

// "ao SCENARIO": plays a scenario on the simulated always-on service
// ("MS KIND VALUES; ...", kinds rot, fd, faceid). The reply text.
std::string PlayAoScenario(const std::string &param);

// "faceenroll USER SCENE": the enrolment application's side of a face
// enrolment. `send` hands one fast message queue message to the library.
// Sends the init package, waits for the key the library hands to the
// simulated always-on service, draws a TOF image of SCENE (as for "tof"),
// enciphers it with AES-256-GCM under that key through the simulated cipher
// library and sends it as the one template package of USER. The reply text.
std::string EnrolFace(const std::string &param,
                      const std::function<void(const std::vector<uint8_t> &)> &send);

}  // namespace vyrd
