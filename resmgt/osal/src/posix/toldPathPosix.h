#pragma once

#include <base/failure/qvHere.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFilePath.h>

#include <string>

namespace Qv {

/// An absolute text of this system's calls as a path. One that no path can hold, since a name in it
/// holds a back-slash, raises OsFileEx::ExInvalidPath: the path would name another file.
inline OsFilePath toldPath( const char* where, const std::string& text ) {
    OsFilePath path( text );
    if( path.toString() != text ) {
        throw OsFileEx::ExInvalidPath( QV_HERE, where, path );
    }
    return path;
}

} // namespace Qv
