#include <resmgt/fileMonitoring/osFileEvent.h>

namespace Qv {

OsFileEvent::OsFileEvent( const OsFilePath& path )
    : _path( path ) {}

OsFileEvent::~OsFileEvent() = default;

OsFileEvent::Created::Created( const OsFilePath& path )
    : OsFileEvent( path ) {}

OsFileEvent::Created::~Created() = default;

OsFileEvent::Deleted::Deleted( const OsFilePath& path )
    : OsFileEvent( path ) {}

OsFileEvent::Deleted::~Deleted() = default;

OsFileEvent::Changed::Changed( const OsFilePath& path )
    : OsFileEvent( path ) {}

OsFileEvent::Changed::~Changed() = default;

} // namespace Qv
