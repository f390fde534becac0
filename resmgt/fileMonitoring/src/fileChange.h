#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/fileMonitoring/osFileEvent.h>
#include <resmgt/osal/osFileInfo.h>

namespace Qv {

/// What became of a file between two looks.
enum class FileChange { NONE, CREATED, DELETED, CHANGED };

/// "Created", "Deleted" or "Changed"; an assertion for NONE.
const char* getText( FileChange change );
/// The event of a change, which isn't NONE.
OPtrRet<OsFileEvent> makeFileEvent( FileChange change, const OsFilePath& path );
/// Whether the two aren't of one state of one file: modification time or size, then path, owner or
/// type, then creation time.
bool isDifferent( const OsFileInfo& before, const OsFileInfo& after );
/// Null stands for no file.
FileChange compareInfos( const OsFileInfo* before, const OsFileInfo* after );

} // namespace Qv
