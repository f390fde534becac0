#include <tools/qvcomp/frames.h>

#include <algorithm>
#include <charconv>

namespace Qv::Comp {

namespace {

/// What a name's rest begins with.
struct Piece {
    std::size_t length;
    /// The least digits of a place for a number; 0 for a character.
    int digits;
    char character;
};

/// A place that begins with "%"; without digits when it is none.
Piece readPercentPlace( std::string_view rest ) {
    const bool isPadded = rest.size() > 2 && rest[1] == '0' && rest[2] >= '1' && rest[2] <= '9';
    const std::size_t letter = isPadded ? 3 : 1;
    if( rest.size() > letter && rest[letter] == 'd' ) {
        return { letter + 1, isPadded ? rest[2] - '0' : 1, 0 };
    }
    const bool isEscape = rest.starts_with( "%%" ) || rest.starts_with( "%#" );
    return isEscape ? Piece{ 2, 0, rest[1] } : Piece{ 1, 0, '%' };
}

Piece readPiece( std::string_view rest ) {
    if( rest[0] == '%' ) {
        return readPercentPlace( rest );
    }
    const std::size_t marks = std::min( rest.find_first_not_of( '#' ), rest.size() );
    return marks > 0 ? Piece{ marks, static_cast<int>( marks ), 0 } : Piece{ 1, 0, rest[0] };
}

template <class OnPiece>
void readPieces( std::string_view name, const OnPiece& onPiece ) {
    while( !name.empty() ) {
        const Piece piece = readPiece( name );
        onPiece( piece );
        name.remove_prefix( piece.length );
    }
}

/// Takes a number off the beginning of `text`; nothing when there is none, or a larger one.
std::optional<int> takeNumber( std::string_view& text, std::uint64_t most ) {
    std::uint64_t value = 0;
    const auto [rest, error] = std::from_chars( text.data(), text.data() + text.size(), value );
    if( error != std::errc() || value > most ) {
        return std::nullopt;
    }
    text.remove_prefix( static_cast<std::size_t>( rest - text.data() ) );
    return static_cast<int>( value );
}

/// The same behind `mark`; `other` where that isn't next.
std::optional<int> takeNumberBehind( char mark, std::string_view& text, int other ) {
    if( !text.starts_with( mark ) ) {
        return other;
    }
    text.remove_prefix( 1 );
    return takeNumber( text, MAX_FRAME );
}

std::string describeRun( int first, int last, int step ) {
    const std::string begin = std::to_string( first );
    const std::string end = std::to_string( last );
    return first == last ? begin
           : last - first > step
               ? begin + '-' + end + ( step > 1 ? 'x' + std::to_string( step ) : "" )
               : begin + ", " + end;
}

} // namespace

std::optional<FrameRange> parseFrames( std::string_view text ) {
    const auto first = takeNumber( text, MAX_FRAME );
    const auto last = first ? takeNumberBehind( '-', text, *first ) : std::nullopt;
    const auto step = last ? takeNumberBehind( 'x', text, 1 ) : std::nullopt;
    if( !step || !text.empty() || *first > *last || *step == 0 ) {
        return std::nullopt;
    }
    const FrameRange frames{ *first, *last, *step };
    return static_cast<std::uint64_t>( frames.getCount() ) <= MAX_FRAMES ? std::optional( frames )
                                                                         : std::nullopt;
}

bool hasFramePlace( std::string_view name ) {
    bool hasPlace = false;
    readPieces( name, [&]( const Piece& piece ) { hasPlace |= piece.digits > 0; } );
    return hasPlace;
}

std::string fillFrame( std::string_view name, int frame ) {
    const std::string number = std::to_string( frame );
    std::string filled;
    readPieces( name, [&]( const Piece& piece ) {
        if( piece.digits == 0 ) {
            filled += piece.character;
            return;
        }
        const auto digits = static_cast<std::size_t>( piece.digits );
        filled.append( digits - std::min( digits, number.size() ), '0' );
        filled += number;
    } );
    return filled;
}

std::string describeFrames( std::span<const int> frames, int step ) {
    std::string text;
    for( std::size_t i = 0; i < frames.size(); ) {
        std::size_t end = i + 1;
        while( end < frames.size() && frames[end] == frames[end - 1] + step ) {
            ++end;
        }
        text += ( text.empty() ? "" : ", " ) + describeRun( frames[i], frames[end - 1], step );
        i = end;
    }
    return text;
}

} // namespace Qv::Comp
