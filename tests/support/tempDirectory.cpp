#include <tests/support/tempDirectory.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

#include <stdlib.h>

namespace Qv {

TempDirectory::TempDirectory() {
    std::string pattern = ( std::filesystem::temp_directory_path() / "qvtest-XXXXXX" ).string();
    if( !::mkdtemp( pattern.data() ) ) {
        throw std::system_error( errno, std::generic_category(), "mkdtemp " + pattern );
    }
    _path = pattern;
}

TempDirectory::~TempDirectory() {
    std::error_code error;
    std::filesystem::remove_all( _path, error );
    if( error ) {
        std::fprintf( stderr, "%s stays behind: %s\n", _path.c_str(), error.message().c_str() );
    }
}

std::string readFile( const std::filesystem::path& path ) {
    std::ifstream file( path, std::ios::binary );
    return { std::istreambuf_iterator<char>( file ), {} };
}

} // namespace Qv
