#include <resmgt/threadExtensions/mtAlarmHandle.h>

#include <base/failure/assertions.h>
#include <resmgt/threadExtensions/src/mtAlarm.h>

#include <cmath>

namespace Qv {

MtAlarmHandle::MtAlarmHandle() noexcept = default;
MtAlarmHandle::MtAlarmHandle( const LiString& name )
    : _alarm( new MtAlarm( name ) ) {}
MtAlarmHandle::MtAlarmHandle( const RCShdPtr<MtAlarm>& alarm ) noexcept
    : _alarm( alarm ) {}
MtAlarmHandle::MtAlarmHandle( const MtAlarmHandle& other ) noexcept = default;
MtAlarmHandle& MtAlarmHandle::operator=( const MtAlarmHandle& other ) noexcept = default;
MtAlarmHandle::~MtAlarmHandle() = default;
MtAlarmHandle::Callback::~Callback() = default;

void MtAlarmHandle::setDuration( double seconds ) {
    QV_ASSERT( !std::isnan( seconds ) );
    _alarm->duration = seconds;
}

void MtAlarmHandle::setRequestedRepeats( int nbRepeats ) {
    QV_ASSERT( nbRepeats >= FOR_EVER );
    _alarm->nbRepeats = nbRepeats;
}

void MtAlarmHandle::setCallback( Callback* callback ) {
    _alarm->callback = callback;
}

const LiString& MtAlarmHandle::getName() const {
    return _alarm->name;
}

double MtAlarmHandle::getDuration() const {
    return _alarm->duration;
}

int MtAlarmHandle::getRequestedRepeats() const {
    return _alarm->nbRepeats;
}

MtAlarmHandle::Callback* MtAlarmHandle::getCallback() const {
    return _alarm->callback;
}

} // namespace Qv
