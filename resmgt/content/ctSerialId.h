#pragma once

#include <resmgt/resmgtApi.h>

#include <cstdint>
#include <functional>
#include <iosfwd>

namespace Qv {

/// The name of a stored block: one number. To everybody but the server that gave it out it is
/// opaque.
class CtSerialId {
public:
    constexpr CtSerialId() noexcept = default;
    constexpr explicit CtSerialId( std::uint64_t number ) noexcept
        : _number( number ) {}

    constexpr operator std::uint64_t() const noexcept { return _number; }
    constexpr bool operator==( const CtSerialId& other ) const noexcept {
        return _number == other._number;
    }
    constexpr bool operator<( const CtSerialId& other ) const noexcept {
        return _number < other._number;
    }

private:
    std::uint64_t _number = 0;
};

/// Writes the high 32 bits, "-" and the low 32 bits, each in decimal and filled up with zeros to 10
/// digits, whatever the stream's format; the stream's width is used up and nothing else changed.
QV_RESMGT_API std::ostream& operator<<( std::ostream& stream, const CtSerialId& id );

} // namespace Qv

/// What hash containers use.
template <>
struct std::hash<Qv::CtSerialId> {
    std::size_t operator()( const Qv::CtSerialId& id ) const noexcept {
        return std::hash<std::uint64_t>()( id );
    }
};
