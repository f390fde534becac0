#include <base/values/uuid.h>
#include <resmgt/osal/osFilePathUtils.h>
#include <resmgt/osal/osFileUtils.h>
#include <resmgt/osal/osFsUtils.h>

#include <vector>

namespace Qv {

namespace {

/// The first component of `path`, the first two, and so on, up to all.
std::vector<OsFilePath> getBeginnings( const OsFilePath& path ) {
    std::vector<OsFilePath> beginnings( path.getNbComponents() );
    OsFilePath beginning = path;
    for( auto place = beginnings.rbegin(); place != beginnings.rend(); ++place ) {
        *place = beginning;
        beginning = beginning.getDirectoryName();
    }
    return beginnings;
}

} // namespace

OsFilePath OsFileUtils::createUniqueFileName( const OsFilePath& directory, const char* prefix,
                                              const char* extension ) {
    std::string name = prefix == nullptr ? "" : prefix;
    name += Uuid( Uuid::CREATE ).toString();
    if( extension != nullptr ) {
        name.append( "." ).append( extension );
    }
    return directory + name;
}

OsFilePath OsFileUtils::createUniqueFile( const OsFilePath& directory, const char* prefix,
                                          const OsFileTypes::Permissions& permissions ) {
    const OsFilePath path = createUniqueFileName( directory, prefix, nullptr );
    OsFsUtils::createFile( path, permissions, true );
    return path;
}

OsFilePath OsFileUtils::createUniqueDir( const OsFilePath& directory, const char* prefix,
                                         const OsFileTypes::Permissions& permissions ) {
    const OsFilePath path = createUniqueFileName( directory, prefix, nullptr );
    OsFsUtils::createPath( path, OsFileTypes::DIRECTORY, OsFilePath(), permissions, true );
    return path;
}

std::pair<OsFilePath, OsFilePath> OsFileUtils::walk( const OsFilePath& path ) {
    if( path.isEmpty() ) {
        return { path, path };
    }
    const OsFilePath start = path.isAbsolute() ? OsFilePath() : OsFilePath::getCurrentDir();
    if( OsFsUtils::fileExists( start + path ) ) {
        return { start + path, OsFilePath() };
    }
    OsFilePath existing = start;
    OsFilePath missing = path;
    for( const OsFilePath& beginning : getBeginnings( path ) ) {
        if( !OsFsUtils::fileExists( start + beginning ) ) {
            break;
        }
        existing = start + beginning;
        missing = path;
        OsFilePathUtils::relocate( beginning, OsFilePath(), missing );
    }
    return { existing, missing };
}

std::wstring OsFileUtils::getFileInvalidChars() {
    return L"'\\/:*?\"<>|[]";
}

} // namespace Qv
