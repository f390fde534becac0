#include <resmgt/osal/osFileEx.h>

#include <base/text/wideStringUtil.h>
#include <resmgt/osal/osFilePath.h>

#include <algorithm>
#include <string>

namespace Qv::OsFileEx {

namespace {

/// `where`, `before`, the quoted name and `after`. A zero character of the name becomes "?": it
/// would end the reason.
std::string reasonOf( const char* where, const char* before, const std::string& name,
                      const char* after = "'." ) {
    std::string reason = std::string( where ) + before + name + after;
    std::replace( reason.begin(), reason.end(), '\0', '?' );
    return reason;
}

} // namespace

ExSeparatorNotAllowed::ExSeparatorNotAllowed( const char* file, int line, const char* where,
                                              const std::wstring& pathElement )
    : ExCloneable( file, line ) {
    setReason( reasonOf( where, ": Separator not allowed in path elements: '",
                         WideStringUtil::narrowMB( pathElement ) )
                   .c_str() );
}

ExHomeNotDefined::ExHomeNotDefined( const char* file, int line, const char* where )
    : ExCloneable( file, line ) {
    setReason( where );
    setReason( ": Cannot get home directory from the environment." );
}

ExIllegalPathConcat::ExIllegalPathConcat( const char* file, int line, const char* where,
                                          const OsFilePath& path )
    : ExCloneable( file, line ) {
    setReason(
        reasonOf( where, ": Attempt to concatenate absolute path: '", path.toString() ).c_str() );
}

ExFileExists::ExFileExists( const char* file, int line, const char* where, const OsFilePath& path )
    : ExCloneable( file, line ) {
    setReason( reasonOf( where, ": File '", path.toString(), "' already exists." ).c_str() );
}

ExNullFilePath::ExNullFilePath( const char* file, int line, const char* where )
    : ExCloneable( file, line ) {
    setReason( where );
    setReason( ": File has null file path." );
}

ExPathNotWritable::ExPathNotWritable( const char* file, int line, const char* where,
                                      const OsFilePath& path )
    : ExCloneable( file, line ) {
    setReason( reasonOf( where, ": Path is not writable: '", path.toString() ).c_str() );
}

ExPathNotReadable::ExPathNotReadable( const char* file, int line, const char* where,
                                      const OsFilePath& path )
    : ExCloneable( file, line ) {
    setReason( reasonOf( where, ": Path is not readable: '", path.toString() ).c_str() );
}

ExPathNotAbsolute::ExPathNotAbsolute( const char* file, int line, const char* where,
                                      const OsFilePath& path )
    : ExCloneable( file, line ) {
    setReason( reasonOf( where, ": Path not absolute: '", path.toString() ).c_str() );
}

ExRootDoesNotExist::ExRootDoesNotExist( const char* file, int line, const char* where,
                                        const OsFilePath& path )
    : ExCloneable( file, line ) {
    setReason( reasonOf( where, ": Root does not exist: '", path.toString() ).c_str() );
}

ExUnHardlinkableFs::ExUnHardlinkableFs( const char* file, int line, const char* where,
                                        const OsFilePath& path )
    : ExCloneable( file, line ) {
    setReason(
        reasonOf( where, ": Can't create a hardlink on this filesystem : '", path.toString() )
            .c_str() );
}

ExNotEnoughSpace::ExNotEnoughSpace( const char* file, int line, const char* where,
                                    const OsFilePath& path )
    : ExCloneable( file, line ) {
    setReason( reasonOf( where, ": filesystem doesn't have enough space to create file : '",
                         path.toString() )
                   .c_str() );
}

ExInvalidCrossDeviceLink::ExInvalidCrossDeviceLink( const char* file, int line, const char* where,
                                                    const OsFilePath& first,
                                                    const OsFilePath& second )
    : ExCloneable( file, line ) {
    setReason(
        reasonOf( where, ": Can't create a hardlink from '", first.toString(), "' to '" ).c_str() );
    setReason( reasonOf( "", "", second.toString() ).c_str() );
}

ExInvalidPath::ExInvalidPath( const char* file, int line, const char* where,
                              const OsFilePath& path )
    : ExCloneable( file, line ) {
    setReason( reasonOf( where, ": Invalid path: '", path.toString() ).c_str() );
}

ExEmptyDrive::ExEmptyDrive( const char* file, int line, const std::wstring& drive )
    : ExCloneable( file, line ) {
    setReason( reasonOf( "", "No disk in drive ", WideStringUtil::narrowMB( drive ), "" ).c_str() );
}

} // namespace Qv::OsFileEx
