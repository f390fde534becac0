#include <resmgt/osal/osFileUtils.h>

#include <base/failure/exSysError.h>
#include <base/failure/qvHere.h>
#include <base/values/uuid.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/src/osFsPlatform.h>

#include <cstddef>

namespace Qv {

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
    const std::size_t nbComponents = path._components.size();
    std::size_t nbExisting = 0;
    for( OsFilePath beginning = start; nbExisting < nbComponents; ++nbExisting ) {
        beginning += path.slice( nbExisting, nbExisting + 1 );
        if( !OsFsUtils::fileExists( beginning ) ) {
            break;
        }
    }
    return { start + path.slice( 0, nbExisting ), path.slice( nbExisting, nbComponents ) };
}

void OsFileUtils::readRegularFile( const OsFilePath& path, std::size_t most,
                                   std::optional<std::string>& text ) {
    constexpr const char* WHERE = "OsFileUtils::readRegularFile";
    switch( OsFsPlatform::readRegularFile( path, most, text ) ) {
    case OsFsPlatform::Reading::DONE:
        return;
    case OsFsPlatform::Reading::NOT_REGULAR:
        throw ExSysErrorGeneric( QV_HERE, "It isn't a regular file", WHERE, path.getChars() );
    case OsFsPlatform::Reading::TOO_LARGE: {
        const std::string reason = "It is larger than " + std::to_string( most ) + " bytes";
        throw ExSysErrorGeneric( QV_HERE, reason.c_str(), WHERE, path.getChars() );
    }
    case OsFsPlatform::Reading::FAILED:
        throw ExSysErrorWindows( QV_HERE, WHERE, path.getChars() );
    }
}

std::wstring OsFileUtils::getFileInvalidChars() {
    return L"'\\/:*?\"<>|[]";
}

} // namespace Qv
