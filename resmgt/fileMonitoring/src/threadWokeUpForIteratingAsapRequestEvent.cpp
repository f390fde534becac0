#include <resmgt/fileMonitoring/src/threadWokeUpForIteratingAsapRequestEvent.h>

#include <base/failure/assertions.h>
#include <pluginAPI/piAppThread.h>
#include <resmgt/fileMonitoring/src/osFileMonitorImp.h>

#include <istream>
#include <ostream>
#include <string>

namespace Qv {

ThreadWokeUpForIteratingAsapRequestEvent::~ThreadWokeUpForIteratingAsapRequestEvent() = default;

OPtrRet<EvEvent> ThreadWokeUpForIteratingAsapRequestEvent::clone() const {
    return OPtr<EvEvent>( new ThreadWokeUpForIteratingAsapRequestEvent( *this ) );
}

const char* ThreadWokeUpForIteratingAsapRequestEvent::getClassName() const {
    return "ThreadWokeUpForIteratingAsapRequestEvent";
}

void ThreadWokeUpForIteratingAsapRequestEvent::dump( std::ostream& stream ) const {
    stream << getClassName() << ' ' << _monitor;
}

void ThreadWokeUpForIteratingAsapRequestEvent::read( std::istream& stream ) {
    std::string name;
    std::uint64_t monitor = 0;
    if( stream >> name >> monitor && name == getClassName() ) {
        _monitor = monitor;
    } else {
        stream.setstate( std::ios_base::failbit );
    }
}

void ThreadWokeUpForIteratingAsapRequestEvent::execute() {
    QV_ASSERT( PiAppThread::isCurrent() );
    OsFileMonitorImp* const monitor = OsFileMonitorImp::find();
    if( monitor != nullptr && monitor->getNumber() == _monitor ) {
        monitor->acceptWakeUp();
    }
}

} // namespace Qv
