#include <resmgt/threads/src/posix/mtProcessSearchPosix.h>

#include <resmgt/literals/liStringUtil.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace Qv {

namespace {

constexpr std::size_t SHOWN_SIZE = 15;

std::string readName( const std::filesystem::path& process ) {
    std::string name;
    std::ifstream file( process / "comm" );
    std::getline( file, name );
    return LiStringUtil::toLowerCase( name );
}

} // namespace

pid_t MtProcessSearchPosix::find( const std::string& name ) {
    const std::string wanted = LiStringUtil::toLowerCase( name.substr( 0, SHOWN_SIZE ) );
    std::error_code none;
    std::filesystem::directory_iterator processes( "/proc", none );
    for( ; processes != std::filesystem::directory_iterator(); processes.increment( none ) ) {
        const int number = std::atoi( processes->path().filename().c_str() );
        if( number > 0 && readName( processes->path() ) == wanted ) {
            return number;
        }
    }
    return 0;
}

} // namespace Qv
