#include <resmgt/fileMonitoring/src/fileEventRequest.h>

#include <base/failure/assertions.h>
#include <pluginAPI/piAppThread.h>
#include <resmgt/fileMonitoring/src/osFileMonitorImp.h>

#include <iomanip>
#include <istream>
#include <ostream>
#include <string>

namespace Qv {

namespace {

FileChange changeOf( const std::string& text ) {
    for( const FileChange change :
         { FileChange::CREATED, FileChange::DELETED, FileChange::CHANGED } ) {
        if( text == getText( change ) ) {
            return change;
        }
    }
    return FileChange::NONE;
}

} // namespace

FileEventRequest::FileEventRequest( const Content& content )
    : _content( content )
    , _event( makeFileEvent( content.change, content.path ) ) {}

FileEventRequest::~FileEventRequest() = default;

OPtrRet<EvEvent> FileEventRequest::clone() const {
    return OPtr<EvEvent>( new FileEventRequest( _content ) );
}

const char* FileEventRequest::getClassName() const {
    return "FileEventRequest";
}

void FileEventRequest::dump( std::ostream& stream ) const {
    stream << getClassName() << ' ' << getText( _content.change ) << ' ' << _content.form << ' '
           << _content.time.getSeconds() << ' ' << _content.time.getNanoseconds() << ' '
           << _content.watch << ' ' << _content.registration << ' '
           << std::quoted( _content.path.toString() );
}

void FileEventRequest::read( std::istream& stream ) {
    std::string name;
    std::string change;
    int form = 0;
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;
    std::string path;
    Content content;
    stream >> name >> change >> form >> seconds >> nanoseconds >> content.watch >>
        content.registration >> std::quoted( path );
    content.change = changeOf( change );
    if( !stream || name != getClassName() || content.change == FileChange::NONE || form < 0 ||
        form > OsFileMonitor::SETTLED_STATES || nanoseconds < 0 ||
        nanoseconds >= OsDateTypes::DateRep::NS_PER_SECOND ) {
        stream.setstate( std::ios_base::failbit );
        return;
    }
    content.form = static_cast<OsFileMonitor::Form>( form );
    content.time = { seconds, nanoseconds };
    content.path = path;
    _event = makeFileEvent( content.change, content.path );
    _content = content;
}

void FileEventRequest::execute() {
    QV_ASSERT( PiAppThread::isCurrent() );
    if( OsFileMonitorImp* const monitor = OsFileMonitorImp::find() ) {
        monitor->deliver( *this );
    }
}

} // namespace Qv
