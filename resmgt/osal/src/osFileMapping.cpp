#include <resmgt/osal/osFileMapping.h>

#include <base/failure/qvHere.h>
#include <base/text/wideStringUtil.h>
#include <resmgt/osal/src/osFileMappingImp.h>

#include <string>

namespace Qv {

namespace {

constexpr unsigned long long LARGEST_MAPPING = 0xffffffff;

std::string toldName( const wchar_t* name ) {
    return name != nullptr ? WideStringUtil::narrowMB( name ) : "<null>";
}

} // namespace

OsFileMapping::FileNotFoundEx::FileNotFoundEx( const char* file, int line, const wchar_t* name )
    : ExCloneable( file, line ) {
    setReason( "OsFileMapping cannot open " );
    setReason( toldName( name ).c_str() );
    setReason( " due to missing permissions. " );
    setReason( "You must enable write permissions for that file and directory." );
}

OsFileMapping::CannotGrowFileEx::CannotGrowFileEx( const char* file, int line, const wchar_t* name )
    : ExCloneable( file, line ) {
    setReason( "OsFileMapping cannot grow " );
    setReason( toldName( name ).c_str() );
}

OsFileMapping::CannotMapFileEx::CannotMapFileEx( const char* file, int line, const wchar_t* name )
    : ExCloneable( file, line ) {
    setReason( "OsFileMapping cannot map " );
    setReason( toldName( name ).c_str() );
}

OsFileMapping::CannotWriteFileEx::CannotWriteFileEx( const char* file, int line,
                                                     const wchar_t* name )
    : ExCloneable( file, line ) {
    setReason( "OsFileMapping cannot write " );
    setReason( toldName( name ).c_str() );
}

OsFileMapping::OsFileMapping( const wchar_t* file, unsigned long long offset,
                              unsigned long long size, bool readOnly )
    : _imp( std::make_unique<OsFileMappingImp>() ) {
    if( size > LARGEST_MAPPING ) {
        throw CannotMapFileEx( QV_HERE, file );
    }
    if( !_imp->open( OsFilePath( file ), readOnly ) ) {
        throw FileNotFoundEx( QV_HERE, file );
    }
    if( !_imp->map( offset, size, readOnly ) ) {
        throw CannotMapFileEx( QV_HERE, file );
    }
}

OsFileMapping::~OsFileMapping() = default;

void* OsFileMapping::getAddress() {
    return _imp->getWritableAddress();
}

const void* OsFileMapping::getAddress() const {
    return _imp->getAddress();
}

} // namespace Qv
