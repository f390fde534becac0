#include <resmgt/osal/src/wildcardMatch.h>

#include <cstddef>

namespace Qv {

bool wildcardMatch( std::wstring_view text, std::wstring_view pattern ) {
    constexpr std::size_t NONE = std::wstring_view::npos;
    std::size_t at = 0;
    std::size_t next = 0;
    std::size_t star = NONE;
    std::size_t starAt = 0;
    while( at < text.size() ) {
        if( next < pattern.size() && pattern[next] == L'*' ) {
            star = next++;
            starAt = at;
        } else if( next < pattern.size() &&
                   ( pattern[next] == L'?' || pattern[next] == text[at] ) ) {
            ++at;
            ++next;
        } else if( star != NONE ) {
            next = star + 1;
            at = ++starAt;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of( L'*', next ) == NONE;
}

} // namespace Qv
