#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

namespace Qv {

/// A source file's name as the compiler gives it, usable as a template argument.
template <std::size_t N>
struct SourceFileName {
    consteval SourceFileName( const char ( &text )[N] ) { std::copy_n( text, N, _text.begin() ); }

    /// Ends with a zero byte.
    std::array<char, N> _text{};
};

/// The name in the form that exceptions carry: back-slashes, no extension.
template <SourceFileName Name>
struct SourceFile {
    /// Ends with a zero byte.
    static constexpr auto text = [] {
        auto result = Name._text;
        std::size_t end = result.size() - 1;
        for( std::size_t i = 0; i + 1 < result.size(); ++i ) {
            if( result[i] == '/' ) {
                result[i] = '\\';
            }
            if( result[i] == '\\' ) {
                end = result.size() - 1;
            } else if( result[i] == '.' ) {
                end = i;
            }
        }
        std::fill( result.begin() + static_cast<std::ptrdiff_t>( end ), result.end(), '\0' );
        return result;
    }();
};

} // namespace Qv

/// The two arguments `file, line` that every exception and assertion is built with. `file` is the
/// path from the source root, with back-slashes and without extension; it is made at compile time.
#define QV_HERE ::Qv::SourceFile<__FILE__>::text.data(), __LINE__
