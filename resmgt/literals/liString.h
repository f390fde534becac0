#pragma once

#include <base/ownership/aPtr.h>
#include <resmgt/resmgtApi.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>

namespace Qv {

/// The library's owned string: a std::string that can also be made from what the library hands
/// around. Narrow text is UTF-8 on this platform.
class QV_RESMGT_API LiString : public std::string {
public:
    LiString() = default;
    /// Null gives the empty text.
    LiString( const char* text );
    LiString( const std::string& text );
    /// The text that the stream holds; the stream stays as it is.
    explicit LiString( std::ostringstream& stream );
    /// Takes the array over and frees it. Null gives the empty text.
    explicit LiString( APtr<char> text );

    /// The hash for containers. The same in all processes and on all platforms.
    std::uint64_t hashFunc() const noexcept;
    /// Takes the next line, without its end, for its text. Returns `stream`, which is in a failed
    /// state after a failure; the text is empty then.
    std::istream& read( std::istream& stream );
};

} // namespace Qv

template <>
struct std::hash<Qv::LiString> {
    std::size_t operator()( const Qv::LiString& text ) const noexcept {
        return static_cast<std::size_t>( text.hashFunc() );
    }
};
