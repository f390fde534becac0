#include <resmgt/osal/osUtils.h>

#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <resmgt/osal/src/posix/accountPosix.h>
#include <resmgt/osal/src/posix/toldPathPosix.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <ctime>
#include <ifaddrs.h>
#include <memory>
#include <netpacket/packet.h>
#include <optional>
#include <span>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace Qv {

namespace {

constexpr const char* OWN_FILE = "/proc/self/exe";

bool isOwnFile( const std::string& name ) {
    struct stat own {};
    struct stat named {};
    return ::stat( OWN_FILE, &own ) == 0 && ::stat( name.c_str(), &named ) == 0 &&
           own.st_dev == named.st_dev && own.st_ino == named.st_ino;
}

std::string moduleFile( const char* where ) {
    // The system returns no name that is longer than a page.
    std::array<char, 2 * PATH_MAX> buffer;
    const ssize_t size = ::readlink( OWN_FILE, buffer.data(), buffer.size() );
    if( size < 0 ) {
        throw ExSysErrorWindows( QV_HERE, where, OWN_FILE );
    }
    std::string name( buffer.data(), static_cast<std::size_t>( size ) );
    // What the system puts behind the name of a file that was removed. A file may also be named so.
    constexpr std::string_view MARK = " (deleted)";
    if( std::string_view( name ).ends_with( MARK ) && !isOwnFile( name ) ) {
        name.resize( name.size() - MARK.size() );
    }
    return name;
}

/// The number where the account has no name.
std::string accountName( uid_t id, const char* where ) {
    return AccountPosix::getName( id, where, std::to_string( id ).c_str() );
}

using HardwareAddress = std::span<const unsigned char, 6>;

/// The address of an entry of getifaddrs, if it is one of hardware.
std::optional<HardwareAddress> hardwareAddress( const struct ifaddrs& entry, int& index ) {
    if( entry.ifa_addr == nullptr || entry.ifa_addr->sa_family != AF_PACKET ) {
        return std::nullopt;
    }
    const auto* const link = reinterpret_cast<const struct sockaddr_ll*>( entry.ifa_addr );
    const HardwareAddress address( link->sll_addr, 6 );
    const bool isZero = std::ranges::all_of( address, []( auto byte ) { return byte == 0; } );
    if( link->sll_halen != address.size() || isZero ) {
        return std::nullopt;
    }
    index = link->sll_ifindex;
    return address;
}

/// Bit 1 of the first byte marks addresses that weren't given by a maker, see IEEE 802.
bool isMadeUp( HardwareAddress address ) {
    return ( address[0] & 2U ) != 0;
}

} // namespace

int OsUtils::getPid() {
    return ::getpid();
}

OsFilePath OsUtils::getModulePath() {
    constexpr const char* WHERE = "OsUtils::getModulePath";
    return toldPath( WHERE, moduleFile( WHERE ) );
}

std::string OsUtils::getModuleName() {
    const std::string name = moduleFile( "OsUtils::getModuleName" );
    return name.substr( name.rfind( '/' ) + 1 );
}

std::string OsUtils::getPidUserName() {
    return accountName( ::geteuid(), "OsUtils::getPidUserName" );
}

std::string OsUtils::performGetUserName() {
    return accountName( ::getuid(), "OsUtils::getUserName" );
}

std::string OsUtils::getHostName() {
    // One more, as a name that fills the buffer has no end.
    std::array<char, HOST_NAME_MAX + 2> buffer{};
    if( ::gethostname( buffer.data(), buffer.size() - 1 ) != 0 ) {
        throw ExSysErrorWindows( QV_HERE, "OsUtils::getHostName" );
    }
    return buffer.data();
}

std::string OsUtils::getMacAddress() {
    struct ifaddrs* first = nullptr;
    if( ::getifaddrs( &first ) != 0 ) {
        throw ExSysErrorWindows( QV_HERE, "OsUtils::getMacAddress" );
    }
    const std::unique_ptr<struct ifaddrs, decltype( &::freeifaddrs )> owner( first,
                                                                             &::freeifaddrs );
    std::optional<HardwareAddress> best;
    std::pair<bool, int> bestRank;
    for( const struct ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next ) {
        int index = 0;
        const auto address = hardwareAddress( *entry, index );
        if( address ) {
            const std::pair<bool, int> rank( isMadeUp( *address ), index );
            if( !best || rank < bestRank ) {
                best.emplace( *address );
                bestRank = rank;
            }
        }
    }
    std::string text;
    for( std::size_t i = 0; best && i < best->size(); ++i ) {
        char digits[8];
        std::snprintf( digits, sizeof( digits ), i == 0 ? "%02x" : ":%02x", ( *best )[i] );
        text += digits;
    }
    return text;
}

void OsUtils::sleep( unsigned int seconds ) {
    struct timespec end {};
    QV_SYS_ASSERT( ::clock_gettime( CLOCK_MONOTONIC, &end ) == 0, errno );
    end.tv_sec += static_cast<time_t>( seconds );
    int error = 0;
    do {
        error = ::clock_nanosleep( CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr );
    } while( error == EINTR );
    Assertions::checkErrorCode( QV_HERE, "::clock_nanosleep( CLOCK_MONOTONIC, ... ) == 0", error );
}

} // namespace Qv
