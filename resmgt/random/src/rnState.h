#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace Qv {

/// The text of a state: the generator's name, a colon, and numbers with a blank before each.
std::string writeRnState( const char* name, const std::uint64_t* numbers, std::size_t nbNumbers );
inline std::string writeRnState( const char* name, std::initializer_list<std::uint64_t> numbers ) {
    return writeRnState( name, numbers.begin(), numbers.size() );
}

/// Reads such a text. What isn't exactly as it would be written raises RnEx::ExBadState.
class RnStateReader {
public:
    RnStateReader( const char* name, std::string_view text );

    /// The next number, which must be within these bounds.
    std::uint64_t next( std::uint64_t min, std::uint64_t max );
    std::uint32_t next32( std::uint32_t min = 0, std::uint32_t max = 0xffffffff );
    /// There must be no further text.
    void end() const;
    [[noreturn]] void refuse() const;

private:
    const char* _name;
    std::string_view _text;
    std::string_view _rest;
};

} // namespace Qv
