#pragma once

#include <base/ownership/rcShdPtr.h>
#include <resmgt/literals/liString.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

class MtAlarm;

/// A named alarm: after a time it calls back, once or again and again. Armed and cancelled at the
/// MtAlarmManager.
///
///     MtAlarmHandle alarm( "blink" );
///     alarm.setDuration( 0.5 );
///     alarm.setRequestedRepeats( MtAlarmHandle::FOR_EVER );
///     alarm.setCallback( &blinker );
///     MtAlarmManager::getInstance().registerAlarm( alarm );
///     ...
///     MtAlarmManager::getInstance().cancelAlarm( alarm );
///
/// Copies:   are the same alarm. A default-made handle has none; then all operations except
///           `isNull`, comparison and assignment raise a null-pointer exception.
/// Settings: take effect when the alarm is armed the next time.
/// Lifetime: the manager shares an armed alarm. The call-back is the client's: it lives until the
///           alarm has fired for the last time or has been cancelled.
/// Threads:  settings by one thread at a time, and not while another arms the alarm.
class QV_RESMGT_API MtAlarmHandle {
public:
    class Callback;

    /// Without an end.
    static constexpr int FOR_EVER = -1;

    MtAlarmHandle() noexcept;
    /// An alarm of no duration that fires once, without a call-back yet.
    explicit MtAlarmHandle( const LiString& name );
    MtAlarmHandle( const MtAlarmHandle& other ) noexcept;
    MtAlarmHandle& operator=( const MtAlarmHandle& other ) noexcept;
    ~MtAlarmHandle();

    /// The time in seconds from the arming to the call, and from one call to the next. One that
    /// isn't above zero is over at once; an infinite one never.
    /// Errors: the assertion "!std::isnan( seconds )".
    void setDuration( double seconds );
    /// How often the alarm fires after the first time, or FOR_EVER; 0 by default.
    /// Errors: the assertion "nbRepeats >= FOR_EVER".
    void setRequestedRepeats( int nbRepeats );
    /// Not owned.
    void setCallback( Callback* callback );

    bool isNull() const noexcept { return _alarm.isNull(); }
    const LiString& getName() const;
    double getDuration() const;
    int getRequestedRepeats() const;
    Callback* getCallback() const;
    /// Whether both are the same alarm.
    friend bool operator==( const MtAlarmHandle& left, const MtAlarmHandle& right ) noexcept {
        return left._alarm == right._alarm;
    }

private:
    friend class MtAlarmManagerImp;

    explicit MtAlarmHandle( const RCShdPtr<MtAlarm>& alarm ) noexcept;

    RCShdPtr<MtAlarm> _alarm;
};

/// The call-back of an alarm.
class QV_RESMGT_API MtAlarmHandle::Callback {
public:
    Callback() = default;
    Callback( const Callback& ) = delete;
    Callback& operator=( const Callback& ) = delete;
    virtual ~Callback();

    /// Runs on the alarm manager's thread with no lock held. All alarms share that thread, so it
    /// mustn't wait. It may arm and cancel alarms, this one too. Its exceptions are reported
    /// through Trace and go no further.
    virtual void alarmFired( const MtAlarmHandle& alarm ) = 0;
};

} // namespace Qv
