#include <resmgt/content/src/ctSessionFile.h>

#include <algorithm>
#include <charconv>
#include <system_error>

namespace Qv {

std::optional<std::uint64_t> CtSessionFile::parse( std::string_view text ) {
    if( text.size() > MOST_LENGTH ) {
        return std::nullopt;
    }
    constexpr std::string_view BLANKS = " \t\n\v\f\r";
    const std::size_t begin = std::min( text.find_first_not_of( BLANKS ), text.size() );
    text.remove_prefix( begin );
    const std::size_t last = text.find_last_not_of( BLANKS );
    text = text.substr( 0, last == std::string_view::npos ? 0 : last + 1 );
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    // It takes digits alone: no sign, no blank.
    const auto result = std::from_chars( text.data(), end, number );
    const bool isNumber = result.ec == std::errc() && result.ptr == end;
    return isNumber ? std::optional( number ) : std::nullopt;
}

std::uint32_t CtSessionFile::getNext( std::optional<std::uint64_t> stored ) {
    const bool isLast = !stored || *stored >= LAST_SESSION;
    return isLast ? 0 : static_cast<std::uint32_t>( *stored + 1 );
}

} // namespace Qv
