#include <resmgt/osal/osSharedLib.h>

#include <base/failure/qvHere.h>
#include <resmgt/osal/osSharedLibEx.h>
#include <resmgt/osal/src/posix/nativePathPosix.h>

#include <cerrno>
#include <dlfcn.h>
#include <system_error>

namespace Qv {

namespace {

class OsSharedLibPosix : public OsSharedLib {
public:
    explicit OsSharedLibPosix( const OsFilePath& path )
        : OsSharedLib( path )
        , _handle( open( path ) ) {}
    OsSharedLibPosix( const OsSharedLibPosix& ) = delete;
    OsSharedLibPosix& operator=( const OsSharedLibPosix& ) = delete;
    ~OsSharedLibPosix() override { ::dlclose( _handle ); }

    Function getFunction( const char* name ) const override {
        void* const address = ::dlsym( _handle, name );
        if( address == nullptr ) {
            throw OsSharedLibEx::ExFunctionNotFound( QV_HERE, name, getPath().getChars() );
        }
        return reinterpret_cast<Function>( address );
    }

private:
    static void* open( const OsFilePath& path ) {
        const NativePath file( path );
        // The system would take the empty text for the program itself.
        const bool isNamed = *file.get() != '\0';
        void* const handle = isNamed ? ::dlopen( file.get(), RTLD_NOW | RTLD_LOCAL ) : nullptr;
        if( handle == nullptr ) {
            throw OsSharedLibEx::ExCantOpenLib(
                QV_HERE, path.getChars(),
                isNamed ? ::dlerror() : std::generic_category().message( ENOENT ).c_str() );
        }
        return handle;
    }

    void* const _handle;
};

} // namespace

OPtrRet<OsSharedLib> OsSharedLib::open( const OsFilePath& path ) {
    return OPtr<OsSharedLib>( new OsSharedLibPosix( path ) );
}

const char* OsSharedLib::getSuffix() noexcept {
    return ".so";
}

} // namespace Qv
