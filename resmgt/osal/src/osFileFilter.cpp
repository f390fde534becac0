#include <resmgt/osal/osFileFilter.h>

#include <base/text/wideStringUtil.h>
#include <resmgt/osal/osFsUtils.h>
#include <resmgt/osal/src/wildcardMatch.h>

namespace Qv {

namespace {

/// The last component as it is in the file system, also where a path prints it in another form.
std::wstring wideBaseName( const OsFilePath& path ) {
    return path.isEmpty()
               ? std::wstring()
               : WideStringUtil::widen( path.getComponent( path.getNbComponents() - 1 ) );
}

} // namespace

OsFileFilter::OsFileFilter() = default;
OsFileFilter::OsFileFilter( const OsFileFilter& ) = default;
OsFileFilter& OsFileFilter::operator=( const OsFileFilter& ) = default;
OsFileFilter::~OsFileFilter() = default;

bool OsPassThroughFilter::filter( const OsFilePath& ) const {
    return true;
}

bool OsDirectoryFilter::filter( const OsFilePath& path ) const {
    return OsFsUtils::isDirectory( path );
}

bool OsLogFileFilter::filter( const OsFilePath& path ) const {
    return path.getExtension() == "log";
}

OsWildcardFilter::OsWildcardFilter() = default;

OsWildcardFilter::OsWildcardFilter( const std::wstring& pattern )
    : _pattern( pattern ) {}

bool OsWildcardFilter::filter( const OsFilePath& path ) const {
    return _pattern && wildcardMatch( wideBaseName( path ), *_pattern );
}

OsLeafFileFilter::OsLeafFileFilter() = default;

OsLeafFileFilter::OsLeafFileFilter( const std::wstring& suffix )
    : _suffix( suffix ) {}

bool OsLeafFileFilter::filter( const OsFilePath& path ) const {
    return ( _suffix.empty() || wideBaseName( path ).ends_with( _suffix ) ) &&
           !OsFsUtils::isDirectory( path );
}

OsShowOnlyFileFilter::OsShowOnlyFileFilter( const Set<std::string>& extensions )
    : _extensions( extensions ) {}

bool OsShowOnlyFileFilter::filter( const OsFilePath& path ) const {
    const std::string extension = path.getExtension();
    return extension.empty() ? OsFsUtils::isDirectory( path ) : _extensions.contains( extension );
}

OsExcludeFileFilter::OsExcludeFileFilter( const Set<std::string>& extensions )
    : _extensions( extensions ) {}

bool OsExcludeFileFilter::filter( const OsFilePath& path ) const {
    return !_extensions.contains( path.getExtension() );
}

} // namespace Qv
