#pragma once

#include <base/locks/lkCounter.h>
#include <base/ownership/rcBase.h>
#include <resmgt/threadExtensions/mtAlarmHandle.h>

#include <cstddef>
#include <cstdint>
#include <limits>

namespace Qv {

/// What the handles of one alarm share.
class MtAlarm : public RCBase<LkCounter<int>> {
public:
    static constexpr std::size_t NOT_QUEUED = std::numeric_limits<std::size_t>::max();

    explicit MtAlarm( const LiString& alarmName )
        : name( alarmName ) {}

    const LiString name;

    // The client's settings.
    double duration = 0.0;
    int nbRepeats = 0;
    MtAlarmHandle::Callback* callback = nullptr;

    // Under the manager's lock: the settings as they were at the arming, and where the alarm
    // stands.
    struct Armed {
        MtAlarmHandle::Callback* callback = nullptr;
        /// In nanoseconds.
        std::int64_t duration = 0;
        int nbRepeatsLeft = 0;
    };
    Armed armed;
    std::size_t queueIndex = NOT_QUEUED;
    /// Threads that wait for the end of the call.
    int nbCancelling = 0;
};

} // namespace Qv
