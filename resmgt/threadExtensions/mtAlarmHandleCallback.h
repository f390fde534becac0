#pragma once

#include <resmgt/threadExtensions/mtAlarmHandle.h>

namespace Qv {

/// A call-back that calls an operation of `object`, which outlives it; usually it is a member of
/// it.
///
///     MtAlarmHandleCallback<Blinker> _callback{ *this, &Blinker::blink };
template <class Object>
class MtAlarmHandleCallback final : public MtAlarmHandle::Callback {
public:
    /// The method that the alarm calls.
    using Method = void ( Object::* )();

    MtAlarmHandleCallback( Object& object, Method method ) noexcept
        : _object( object )
        , _method( method ) {}

    void alarmFired( const MtAlarmHandle& ) override { ( _object.*_method )(); }

private:
    Object& _object;
    const Method _method;
};

} // namespace Qv
