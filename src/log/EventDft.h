// One-off events to the event monitor (for instance camera conflicts): an
// id and a text, sent at once.
#pragma once

#include <cstdint>
#include <string>

#include "log/Dft.h"

class EventDft : public Dft {
public:
    static constexpr uint32_t kEventId = 918100005;

    explicit EventDft(VyrHal &hal);

    void ReportEvent(int32_t id, const std::string &content);
};
