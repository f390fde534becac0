#include <tools/qvcomp/optionValues.h>

#include <tools/qvcomp/failure.h>

#include <base/failure/exSysError.h>
#include <base/text/ascii.h>
#include <resmgt/literals/liStringSubstituter.h>
#include <resmgt/logger/lgTypes.h>
#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osTypedPath.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <string_view>

namespace Qv::Comp {

namespace {

/// Takes all of `text` as a decimal number; nothing when it isn't one or is too large.
std::optional<std::uint64_t> toNumber( std::string_view text ) {
    std::uint64_t value = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars( text.data(), end, value );
    if( result.ec != std::errc() || result.ptr != end ) {
        return std::nullopt;
    }
    return value;
}

/// Takes all of `text` as a number such as 2 or 0.5; nothing when it isn't one in those bounds.
std::optional<double> toDecimal( std::string_view text, double least, double most ) {
    double value = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars( text.data(), end, value, std::chars_format::fixed );
    if( error != std::errc() || rest != end || !( value >= least && value <= most ) ) {
        return std::nullopt;
    }
    return value;
}

std::string expand( const std::string& text ) {
    return LiStringSubstituter().substitute( text );
}

/// A word of an option and what it stands for.
template <class T>
struct Word {
    std::string_view text;
    T value;
};

template <class T>
constexpr std::array<Word<T>, 0> WORDS{};
template <>
constexpr std::array<Word<Strategy>, 2> WORDS<Strategy>{
    { { "lru", Strategy::LRU }, { "random", Strategy::RANDOM } } };
template <>
constexpr std::array<Word<Policy>, 2> WORDS<Policy>{
    { { "relaxed", Policy::RELAXED }, { "strict", Policy::STRICT } } };
template <>
constexpr std::array<Word<Manager>, 2> WORDS<Manager>{
    { { "heap", Manager::HEAP }, { "arena", Manager::ARENA } } };
template <>
constexpr std::array<Word<Dithering>, 2> WORDS<Dithering>{
    { { "position", Dithering::POSITION }, { "none", Dithering::NONE } } };
template <>
constexpr std::array<Word<ReportForm>, 2> WORDS<ReportForm>{
    { { "text", ReportForm::TEXT }, { "json", ReportForm::JSON } } };
template <>
constexpr std::array<Word<Fit>, 3> WORDS<Fit>{
    { { "cover", Fit::COVER }, { "contain", Fit::CONTAIN }, { "none", Fit::NONE } } };
template <>
constexpr std::array<Word<Operation>, 4> WORDS<Operation>{ { { "over", Operation::OVER },
                                                             { "plus", Operation::PLUS },
                                                             { "multiply", Operation::MULTIPLY },
                                                             { "screen", Operation::SCREEN } } };
template <>
constexpr std::array<Word<Mattes>, 2> WORDS<Mattes>{
    { { "soft", Mattes::SOFT }, { "none", Mattes::NONE } } };

template <class T>
const char* findText( T value ) {
    return std::ranges::find( WORDS<T>, value, &Word<T>::value )->text.data();
}

} // namespace

template <class Refusal>
int parseInt( const std::string& option, const std::string& text, int least, int most ) {
    const std::optional<std::uint64_t> value = toNumber( text );
    if( !value || *value < static_cast<std::uint64_t>( least ) ||
        *value > static_cast<std::uint64_t>( most ) ) {
        throw Refusal( Tag::WRONG_NUMBER, option, least, most, text );
    }
    return static_cast<int>( *value );
}

template int parseInt<Failure>( const std::string&, const std::string&, int, int );
template int parseInt<UsageFailure>( const std::string&, const std::string&, int, int );

template <class Refusal>
std::uint64_t parseByteCount( const std::string& option, const std::string& text ) {
    constexpr std::string_view UNITS = "KMG";
    constexpr std::uint64_t MOST = std::uint64_t{ 1 } << 62;
    const std::size_t unit = text.empty() ? std::string_view::npos : UNITS.find( text.back() );
    const bool hasUnit = unit != std::string_view::npos;
    const std::size_t shift = hasUnit ? 10 * ( unit + 1 ) : 0;
    const auto count = toNumber( std::string_view( text ).substr( 0, text.size() - hasUnit ) );
    if( !count || *count == 0 || *count > MOST >> shift ) {
        throw Refusal( Tag::WRONG_BYTES, option, text );
    }
    return *count << shift;
}

template std::uint64_t parseByteCount<Failure>( const std::string&, const std::string& );
template std::uint64_t parseByteCount<UsageFailure>( const std::string&, const std::string& );

double parseSeconds( const std::string& option, const std::string& text ) {
    const std::optional<double> seconds = toDecimal( text, 0.01, 86400 );
    if( !seconds ) {
        throw UsageFailure( Tag::WRONG_SECONDS, option, text );
    }
    return *seconds;
}

double parseDecimal( const std::string& option, const std::string& text, const char* least,
                     const char* most ) {
    const auto value = toDecimal( text, std::atof( least ), std::atof( most ) );
    if( !value ) {
        throw UsageFailure( Tag::WRONG_NUMBER, option, least, most, text );
    }
    return *value;
}

GlowRadius parseGlowRadius( const std::string& option, const std::string& text ) {
    const bool isPercentage = text.ends_with( '%' );
    const std::string_view number =
        std::string_view( text ).substr( 0, text.size() - isPercentage );
    const auto value =
        isPercentage ? toDecimal( number, 0.01, 100 ) : toDecimal( number, 0.1, MAX_SIDE );
    if( !value ) {
        throw UsageFailure( Tag::WRONG_RADIUS, option, MAX_SIDE, text );
    }
    return { *value, isPercentage };
}

FrameRange parseFrameRange( const std::string& text ) {
    const std::optional<FrameRange> frames = parseFrames( text );
    if( !frames ) {
        throw UsageFailure( Tag::WRONG_FRAMES, MAX_FRAMES, text );
    }
    return *frames;
}

void parseOffset( const std::string& option, const std::string& text, LayerOptions& layer ) {
    constexpr int MOST = 1000000;
    const std::size_t comma = std::min( text.find( ',' ), text.size() - 1 );
    const auto parse = [&]( std::string_view number ) {
        number.remove_prefix( number.size() > 1 && number[0] == '+' && number[1] != '-' );
        int value = 0;
        const char* const end = number.data() + number.size();
        const auto [rest, error] = std::from_chars( number.data(), end, value );
        if( error != std::errc() || rest != end || std::abs( value ) > MOST ) {
            throw UsageFailure( Tag::WRONG_OFFSET, option, MOST, text );
        }
        return value;
    };
    layer.offsetX = parse( std::string_view( text ).substr( 0, comma ) );
    layer.offsetY = parse( std::string_view( text ).substr( comma + 1 ) );
}

OsFilePath resolve( const std::string& typed ) {
    try {
        return OsTypedPath::resolve( typed );
    } catch( const OsFileEx::ExInvalidPath& ) {
        throw Failure( Tag::PATH_BACKSLASH, typed );
    } catch( const ExSysErrorWindows& e ) {
        throw Failure( Tag::PATH_UNREACHED, typed, getSystemText( e ) );
    }
}

OsFilePath toPath( const std::string& text ) {
    return resolve( expand( text ) );
}

OsFilePath resolveFile( const std::string& typed ) {
    if( typed.ends_with( '/' ) || typed.ends_with( "/." ) ) {
        throw Failure( Tag::NO_FILE_NAME, typed );
    }
    return resolve( typed );
}

OsFilePath toFile( const std::string& text ) {
    return resolveFile( expand( text ) );
}

void parseSize( const std::string& text, Options& options ) {
    const std::size_t cross = text.find( 'x' );
    if( cross == std::string::npos ) {
        throw UsageFailure( Tag::WRONG_SIZE, text );
    }
    options.width = parseInt<UsageFailure>( "--size", text.substr( 0, cross ), 1, MAX_SIDE );
    options.height = parseInt<UsageFailure>( "--size", text.substr( cross + 1 ), 1, MAX_SIDE );
}

template <class T>
T parseWord( const std::string& option, const std::string& text ) {
    const auto& words = WORDS<T>;
    const auto word = std::ranges::find( words, text, &Word<T>::text );
    if( word == words.end() ) {
        std::string choices;
        for( const Word<T>& choice : words ) {
            choices += &choice == &words.front() ? "" : &choice == &words.back() ? " or " : ", ";
            choices += choice.text;
        }
        throw UsageFailure( Tag::WRONG_WORD, option, choices, text );
    }
    return word->value;
}

template Dithering parseWord( const std::string&, const std::string& );
template Fit parseWord( const std::string&, const std::string& );
template Manager parseWord( const std::string&, const std::string& );
template Mattes parseWord( const std::string&, const std::string& );
template Operation parseWord( const std::string&, const std::string& );
template Policy parseWord( const std::string&, const std::string& );
template ReportForm parseWord( const std::string&, const std::string& );
template Strategy parseWord( const std::string&, const std::string& );

std::string findLogLevel( const std::string& text ) {
    const auto areAlike = []( char typed, char shown ) {
        return Ascii::toLower( typed ) == Ascii::toLower( shown ) ||
               ( typed == '-' && shown == ' ' );
    };
    for( int l = 0; l < LgTypes::NUM_LEVELS; ++l ) {
        const std::string_view name = LgTypes::getLevelName( static_cast<LgTypes::Level>( l ) );
        if( std::ranges::equal( text, name, areAlike ) ) {
            return std::string( name );
        }
    }
    return "";
}

void checkLogLevel( const std::string& option, const std::string& text ) {
    if( findLogLevel( text ).empty() ) {
        throw UsageFailure( Tag::WRONG_LEVEL, option, text );
    }
}

const char* toText( Strategy value ) {
    return findText( value );
}

const char* toText( Policy value ) {
    return findText( value );
}

const char* toText( Manager value ) {
    return findText( value );
}

const char* toText( Fit value ) {
    return findText( value );
}

const char* toText( Mattes value ) {
    return findText( value );
}

} // namespace Qv::Comp
