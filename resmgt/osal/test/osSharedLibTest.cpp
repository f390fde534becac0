#include <base/failure/qvHere.h>
#include <resmgt/osal/osSharedLib.h>
#include <resmgt/osal/osSharedLibEx.h>
#include <tests/support/tempDirectory.h>

#include <gmock/gmock.h>

#include <dlfcn.h>
#include <filesystem>
#include <fstream>
#include <link.h>
#include <string>

namespace Qv {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

// Belongs to the system, and to nothing that a test program is linked with.
constexpr const char* LIBRARY = "libBrokenLocale.so.1";

bool isLoaded( const std::string& name ) {
    void* const handle = ::dlopen( name.c_str(), RTLD_LAZY | RTLD_NOLOAD );
    return handle != nullptr && ::dlclose( handle ) == 0;
}

std::string fileOf( const char* name ) {
    void* const handle = ::dlopen( name, RTLD_LAZY );
    struct link_map* map = nullptr;
    EXPECT_EQ( ::dlinfo( handle, RTLD_DI_LINKMAP, &map ), 0 );
    const std::string file = map->l_name;
    ::dlclose( handle );
    return file;
}

TEST( OsSharedLib, LibraryIsFoundAsTheSystemFindsItAndUnloadedAtTheEnd ) {
    ASSERT_FALSE( isLoaded( LIBRARY ) );
    {
        const OPtr<OsSharedLib> first = OsSharedLib::open( OsFilePath( LIBRARY ) );
        const OPtr<OsSharedLib> second = OsSharedLib::open( OsFilePath( fileOf( LIBRARY ) ) );
        EXPECT_EQ( first->getPath(), OsFilePath( LIBRARY ) );
    }
    EXPECT_FALSE( isLoaded( LIBRARY ) );
}

TEST( OsSharedLib, FunctionsOfAFileOfAnyNameCanBeCalled ) {
    const TempDirectory directory;
    const std::string suffix = OsSharedLib::getSuffix();
    EXPECT_EQ( suffix, ".so" );
    const std::filesystem::path copy = directory.path() / ( "a \xFF (1)" + suffix );
    std::filesystem::copy_file( fileOf( "libm.so.6" ), copy );
    const OPtr<OsSharedLib> lib = OsSharedLib::open( OsFilePath( copy.string() ) );
    const auto floorOf = reinterpret_cast<double ( * )( double )>( lib->getFunction( "floor" ) );
    EXPECT_EQ( floorOf( 2.5 ), 2.0 );
    for( const char* const absent : { "qvNoSuchFunction", "" } ) {
        try {
            lib->getFunction( absent );
            ADD_FAILURE() << "the library has no such function";
        } catch( const OsSharedLibEx::ExFunctionNotFound& ex ) {
            EXPECT_EQ( ex.getReason(), "Function '" + std::string( absent ) +
                                           "' not found in dynamic library '" + copy.string() +
                                           "'" );
        }
    }
}

TEST( OsSharedLib, WhatIsNoLibraryIsToldWithPathAndReason ) {
    const TempDirectory directory;
    const std::string text = directory.path() / "text.so";
    std::ofstream( text ) << "no library";
    struct Case {
        std::string path;
        const char* reason;
    };
    const Case cases[] = {
        { "", "No such file" },
        { std::string( "libm.so.6\0x", 11 ), "No such file" },
        { "C:/libm.so.6", "No such file" },
        { directory.path() / "absent.so", "No such file" },
        { "text.so", "No such file" },
        { text, "file too short" },
        { directory.path(), "directory" },
    };
    const std::filesystem::path former = std::filesystem::current_path();
    std::filesystem::current_path( directory.path() );
    for( const Case& row : cases ) {
        try {
            OPtr<OsSharedLib> lib = OsSharedLib::open( OsFilePath( row.path ) );
            ADD_FAILURE() << row.path << " was loaded";
        } catch( const OsSharedLibEx::ExCantOpenLib& ex ) {
            const std::string reason = std::string( "Can't open dynamic library '" ) +
                                       OsFilePath( row.path ).getChars() + "': ";
            EXPECT_THAT( ex.getReason(), StartsWith( reason ) );
            EXPECT_THAT( ex.getReason(), HasSubstr( row.reason ) );
        }
    }
    std::filesystem::current_path( former );
    EXPECT_STREQ( OsSharedLibEx::ExCantOpenLib( QV_HERE, "a", nullptr ).getReason(),
                  "Can't open dynamic library 'a'" );
}

} // namespace
} // namespace Qv
