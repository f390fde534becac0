#pragma once

#include <resmgt/content/ctSerialId.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// What the entries of a media cache's directory are called.
namespace Qv::CtTileNames {

inline constexpr std::uint32_t MOST_LEVELS = 4;
inline constexpr std::uint32_t MOST_BITS = 12;
inline constexpr const char* INDEX = ".session_idx";
/// The end of a probe's name.
inline constexpr const char* PROBE = ".cs_init";

constexpr std::uint32_t getSession( CtSerialId id ) noexcept {
    return static_cast<std::uint32_t>( std::uint64_t( id ) >> 32U );
}
constexpr CtSerialId makeId( std::uint64_t session, std::uint64_t counter ) noexcept {
    return CtSerialId( session << 32U | counter );
}

/// The name of a block's file, as the serial id is printed.
std::string makeName( CtSerialId id );
/// The block whose file has exactly this name; nothing for any other name.
std::optional<CtSerialId> parseName( std::string_view name );

/// The two numbers of a name that is digits, "-", digits, however many; numbers too large for 64
/// bits are the largest.
struct Halves {
    std::uint64_t high;
    std::uint64_t low;
};
std::optional<Halves> parseHalves( std::string_view name );

/// Whether a file's name is that of a probe: ".cs_init", alone or behind a Uuid.
bool isProbe( std::string_view name );
/// Whether a directory's name is that of a level, of whatever number of bits.
bool isLevel( std::string_view name );

} // namespace Qv::CtTileNames
