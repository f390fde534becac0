#include <resmgt/literals/liRateRegistry.h>

#include <base/failure/assertions.h>
#include <base/failure/qvHere.h>
#include <base/ownership/oPtr.h>
#include <resmgt/literals/liEx.h>
#include <resmgt/literals/liStringUtil.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace Qv {

namespace {

OPtr<LiRateRegistry> globalReg;

constexpr Rational ONE{ 1, 1 };
// Between film or PAL and NTSC, whose colour slowed it by a thousandth.
constexpr Rational DOWN{ 1000, 1001 };
constexpr Rational UP{ 1001, 1000 };
// Between film at 24 and PAL at 25 frames a second.
constexpr Rational TO_FILM{ 24, 25 };
constexpr Rational TO_PAL{ 25, 24 };
constexpr Rational NONE{ 0, 1 };

struct KnownRate {
    const char* enumName;
    const char* shortName;
    const char* description;
    int base;
    Rational timePull;
    Rational factor;
    Rational standard;
};

// clang-format off
// The rates for sound from 48000 to 91875 are those that AES31-3 names.
const KnownRate knownRates[] = {
    { "F23_976", "Film NTSC", "NTSC-compatible Film Frame Rate", 24, DOWN, { 1, 1 }, { 23976, 1000 } },
    { "F24", "Film", "Standard Film Frame Rate", 24, ONE, { 1, 1 }, NONE },
    { "F25", "PAL", "PAL/SECAM Frame Rate", 25, ONE, { 1, 1 }, NONE },
    { "F29_97", "NTSC", "NTSC Frame Rate", 30, DOWN, { 1, 1 }, { 2997, 100 } },
    { "F30", "NTSC Nominal", "Nominal NTSC Frame Rate", 30, ONE, { 1, 1 }, NONE },
    { "F50", "PAL Field", "PAL/SECAM Field Rate", 25, ONE, { 2, 1 }, NONE },
    { "F59_94", "NTSC Field", "NTSC Field Rate", 30, DOWN, { 2, 1 }, { 5994, 100 } },
    { "F60", "HDTV 60fps", "Nominal NTSC Field Rate, HD 60 Hz Frame Rate", 30, ONE, { 2, 1 }, NONE },
    { "S48000", "DAT", "DAT/Professional Audio for Image Sample Rate.", 48000, ONE, { 1, 1 }, NONE },
    { "S47952", "DAT->NTSC", "DAT NTSC Pull-Down", 48000, DOWN, { 1, 1 }, NONE },
    { "S48048", "DAT+NTSC->", "DAT NTSC Pull-Up", 48000, UP, { 1, 1 }, NONE },
    { "S46080", "DAT+PAL->Film", "DAT for PAL -> DAT for Film", 48000, TO_FILM, { 1, 1 }, NONE },
    { "S50000", "DAT+Film->PAL", "DAT for Film -> DAT for PAL", 48000, TO_PAL, { 1, 1 }, NONE },
    { "S44100", "CD", "CD Sample Rate", 44100, ONE, { 1, 1 }, NONE },
    { "S44055", "CD->NTSC", "CD Sample Rate with NTSC Pull-Down", 44100, DOWN, { 1, 1 }, NONE },
    { "S44144", "CD+NTSC->", "CD Sample Rate with NTSC Pull-Up", 44100, UP, { 1, 1 }, NONE },
    { "S42336", "CD+PAL->Film", "CD for PAL -> CD for Film", 44100, TO_FILM, { 1, 1 }, NONE },
    { "S45937", "CD+Film->PAL", "CD for Film -> CD for PAL", 44100, TO_PAL, { 1, 1 }, NONE },
    { "S32000", "LPDAT", "Long-Play DAT", 32000, ONE, { 1, 1 }, NONE },
    { "S31968", "LPDAT->NTSC", "Long-Play DAT NTSC Pull-Down", 32000, DOWN, { 1, 1 }, NONE },
    { "S32032", "LPDAT+NTSC->", "Long-Play DAT NTSC Pull-Up", 32000, UP, { 1, 1 }, NONE },
    { "S30720", "DAT+PAL->Film", "DAT for PAL -> DAT for Film", 32000, TO_FILM, { 1, 1 }, NONE },
    { "S33333", "DAT+Film->PAL", "DAT for Film -> DAT for PAL", 32000, TO_PAL, { 1, 1 }, NONE },
    { "S96000", "Master", "Mastering Sample Rate", 48000, ONE, { 2, 1 }, NONE },
    { "S95904", "Master->NTSC", "Mastering NTSC Pull-Down", 48000, DOWN, { 2, 1 }, NONE },
    { "S96096", "Master+NTSC->", "Mastering NTSC Pull-Up", 48000, UP, { 2, 1 }, NONE },
    { "S92160", "Master+PAL->Film", "Mastering for PAL -> ... for Film", 48000, TO_FILM, { 2, 1 }, NONE },
    { "S100000", "Master+Film->PAL", "Mastering for Film -> ... for PAL", 48000, TO_PAL, { 2, 1 }, NONE },
    { "S88200", "2xCD", "Double CD Sample Rate", 44100, ONE, { 2, 1 }, NONE },
    { "S88111", "2xCD->NTSC", "Double CD Sample Rate with NTSC Pull-Down", 44100, DOWN, { 2, 1 }, NONE },
    { "S88288", "2xCD+NTSC->", "Double CD Sample Rate with NTSC Pull-Up", 44100, UP, { 2, 1 }, NONE },
    { "S84672", "2xCD+PAL->Film", "Double CD Sample Rate for PAL -> ... for Film", 44100, TO_FILM, { 2, 1 }, NONE },
    { "S91875", "2xCD+Film->PAL", "Double CD Sample Rate for Film -> ... for PAL", 44100, TO_PAL, { 2, 1 }, NONE },
    { "S8000", "Telephony", "Telephony Sample Rate", 8000, ONE, { 1, 1 }, NONE },
    { "S16000", "G.722", "G.722 Compression Standard Sample Rate", 16000, ONE, { 1, 1 }, NONE },
    { "S11025", "CD/4", "Quarter CD Sample Rate", 44100, ONE, { 1, 4 }, NONE },
    { "S22050", "CD/2", "Half CD Sample Rate", 44100, ONE, { 1, 2 }, NONE },
    { "S176400", "4*CD", "Quadruple CD Sample Rate", 44100, ONE, { 4, 1 }, NONE },
    { "S192000", "4*Master", "Quadruple Mastering Sample Rate", 48000, ONE, { 4, 1 }, NONE },
};
// clang-format on

void checkPositive( const char* enumName, const Rational& rate ) {
    if( rate.getNumerator() <= 0 || rate.getDenominator() <= 0 ) {
        throw LiEx::ExBadRate( QV_HERE, enumName, "has a part that isn't positive" );
    }
}

int product( const char* enumName, int a, int b ) {
    const std::int64_t result = std::int64_t( a ) * b;
    if( result > std::numeric_limits<int>::max() ) {
        throw LiEx::ExBadRate( QV_HERE, enumName, "has a product that doesn't fit an int" );
    }
    return static_cast<int>( result );
}

Rational product( const char* enumName, const Rational& a, const Rational& b ) {
    return Rational( product( enumName, a.getNumerator(), b.getNumerator() ),
                     product( enumName, a.getDenominator(), b.getDenominator() ) );
}

/// How a person writes a number: "47.952", not "4.7952e+01".
std::string fixedText( double number ) {
    char text[32];
    char* const end =
        std::to_chars( text, text + sizeof( text ), number, std::chars_format::fixed ).ptr;
    return std::string( text, end );
}

/// Whether `number` is `rate`, or what it becomes with 2 to 5 decimals. The error of a `float`
/// doesn't count.
bool isWrittenAs( double rate, double number ) {
    const double tolerance =
        std::max( 1e-5, number * double{ std::numeric_limits<float>::epsilon() } / 2 );
    return std::ranges::any_of( std::array{ 1e2, 1e3, 1e4, 1e5 }, [=]( double unit ) {
        return std::abs( std::round( rate * unit ) / unit - number ) < tolerance;
    } );
}

/// A rate of film, PAL or NTSC times a whole number where it can be one.
Rational findBaseRate( int framesPerSecond ) {
    for( const int base : { 30, 25, 24 } ) {
        if( framesPerSecond % base == 0 ) {
            return Rational( base, 1 );
        }
    }
    return Rational( framesPerSecond, 1 );
}

LiRateRegistry::Entry makeEntry( int enumVal, const char* enumName, const char* shortName,
                                 const char* description, const Rational& baseRate,
                                 const Rational& timePullRate, const Rational& factor,
                                 const LiRateRegistry::NameFunctor& nameFunctor,
                                 const Rational& standardRate ) {
    OPtr<LiRateRegistry::Entry::Imp> imp( new LiRateRegistry::Entry::Imp );
    imp->enumName = enumName;
    imp->enumVal = enumVal;
    imp->shortName = shortName;
    imp->description = description;
    imp->baseRate = baseRate;
    imp->baseFactorRate = product( enumName, baseRate, factor );
    imp->timePullRate = timePullRate;
    imp->factor = factor;
    imp->computedRate = product( enumName, imp->baseFactorRate, timePullRate );
    imp->standardRate = standardRate;
    imp->numericName = nameFunctor( imp->computedRate );
    return LiRateRegistry::Entry( imp.release() );
}

LiRateRegistry::Entry makeFrameRate( int nominal, bool isPulled ) {
    // The standards write 30000/1001 as 29.97: 999/1000 of the whole rate.
    const Rational standard = isPulled ? Rational( nominal * 999, 1000 ) : Rational( nominal, 1 );
    std::string enumName = 'F' + fixedText( standard.getDouble() );
    std::ranges::replace( enumName, '.', '_' );
    const Rational base = findBaseRate( nominal );
    const Rational pull = isPulled ? DOWN : ONE;
    const FpsNameFunctor fpsName;
    const std::string name = fpsName( standard );
    return makeEntry( -1, enumName.c_str(), name.c_str(), name.c_str(), base, pull,
                      Rational( nominal / base.getNumerator(), 1 ), fpsName, standard );
}

} // namespace

std::string FpsNameFunctor::operator()( const Rational& rate ) const {
    if( rate.getDenominator() == 1 ) {
        return LiStringUtil::convertNb( rate.getNumerator() ) + " fps";
    }
    char text[32];
    const auto end =
        std::to_chars( text, text + sizeof( text ), rate.getDouble(), std::chars_format::fixed, 2 );
    return std::string( text, end.ptr ) + " fps";
}

std::string HzNameFunctor::operator()( const Rational& rate ) const {
    return LiStringUtil::convertNb( static_cast<unsigned long long>( rate.getDouble() ) ) + " Hz";
}

LiRateRegistry& LiRateRegistry::getInstance() {
    QV_ASSERT_TEXT( !globalReg.isNull(), "globalReg" );
    return *globalReg;
}

void LiRateRegistry::initialize() {
    QV_ASSERT_TEXT( globalReg.isNull(), "! globalReg" );
    OPtr<LiRateRegistry> registry( new LiRateRegistry );
    QV_ASSERT_TEXT( registry->begin() == registry->end(),
                    "globalReg->begin() == globalReg->end()" );
    const FpsNameFunctor fpsName;
    const HzNameFunctor hzName;
    for( const KnownRate& rate : knownRates ) {
        const NameFunctor* name = &hzName;
        if( rate.enumName[0] == 'F' ) {
            name = &fpsName;
        }
        const Rational base( rate.base, 1 );
        if( rate.standard == NONE ) {
            registry->registerRate( rate.enumName, rate.shortName, rate.description, base,
                                    rate.timePull, rate.factor, *name );
        } else {
            registry->registerRate( rate.enumName, rate.shortName, rate.description, base,
                                    rate.timePull, rate.factor, *name, rate.standard );
        }
    }
    globalReg = registry;
}

void LiRateRegistry::finalize() {
    QV_ASSERT_TEXT( !globalReg.isNull(), "globalReg" );
    QV_ASSERT( globalReg->begin() != globalReg->end() );
    globalReg.reset();
}

LiRateRegistry::Entry
LiRateRegistry::registerRate( const char* enumName, const char* shortName, const char* description,
                              const Rational& baseRate, const Rational& timePullRate,
                              const Rational& factor, const NameFunctor& nameFunctor ) {
    if( find( enumName ) != end() ) {
        return Entry();
    }
    for( const Rational& part : { baseRate, timePullRate, factor } ) {
        checkPositive( enumName, part );
    }
    const Rational baseFactorRate = product( enumName, baseRate, factor );
    return registerRate( enumName, shortName, description, baseRate, timePullRate, factor,
                         nameFunctor, product( enumName, baseFactorRate, timePullRate ) );
}

LiRateRegistry::Entry
LiRateRegistry::registerRate( const char* enumName, const char* shortName, const char* description,
                              const Rational& baseRate, const Rational& timePullRate,
                              const Rational& factor, const NameFunctor& nameFunctor,
                              const Rational& standardRate ) {
    QV_ASSERT( shortName != nullptr );
    QV_ASSERT( description != nullptr );
    if( find( enumName ) != end() ) {
        return Entry();
    }
    for( const Rational& part : { baseRate, timePullRate, factor, standardRate } ) {
        checkPositive( enumName, part );
    }
    const Entry entry =
        makeEntry( static_cast<int>( _entries.size() ), enumName, shortName, description, baseRate,
                   timePullRate, factor, nameFunctor, standardRate );
    _entries.push_back( entry );
    return entry;
}

LiRateRegistry::ConstIterator LiRateRegistry::find( const char* enumName ) const {
    QV_ASSERT( enumName != nullptr );
    return std::find_if( begin(), end(), [enumName]( const Entry& entry ) {
        return entry.getEnumName() == enumName;
    } );
}

LiRateRegistry::ConstIterator LiRateRegistry::find( int enumVal ) const {
    const bool isKnown = enumVal >= 0 && enumVal < end() - begin();
    return isKnown ? begin() + enumVal : end();
}

LiRateRegistry::ConstIterator LiRateRegistry::begin() const {
    return _entries.begin();
}

LiRateRegistry::ConstIterator LiRateRegistry::end() const {
    return _entries.end();
}

LiRateRegistry::Entry LiRateRegistry::get( const char* enumName ) const {
    const ConstIterator found = find( enumName );
    return found == end() ? Entry() : *found;
}

LiRateRegistry::Entry LiRateRegistry::get( int enumVal ) const {
    const ConstIterator found = find( enumVal );
    return found == end() ? Entry() : *found;
}

LiRateRegistry::Entry LiRateRegistry::get( const Rational& rate ) const {
    for( const auto getter :
         { &Entry::getComputedRate, &Entry::getStandardRate, &Entry::getBaseFactorRate } ) {
        for( const Entry& entry : _entries ) {
            if( ( entry.*getter )() == rate ) {
                return entry;
            }
        }
    }
    return Entry();
}

LiRateRegistry::Entry LiRateRegistry::getFrameRate( double framesPerSecond ) const {
    constexpr double LARGEST = std::numeric_limits<int>::max() / 1000;
    const bool isWhole = isWrittenAs( std::round( framesPerSecond ), framesPerSecond );
    const double nominal = std::round( isWhole ? framesPerSecond : framesPerSecond * 1.001 );
    const bool isMeant = isWhole || isWrittenAs( nominal / 1.001, framesPerSecond );
    if( !isMeant || nominal < 1 || nominal > LARGEST ) {
        throw LiEx::ExBadRate(
            QV_HERE, LiStringUtil::convertNb( framesPerSecond ).c_str(),
            "is neither a whole number of frames a second nor 1000/1001 of one" );
    }
    const Entry wanted = makeFrameRate( static_cast<int>( nominal ), !isWhole );
    const auto known =
        std::ranges::find( _entries, wanted.getComputedRate(), &Entry::getComputedRate );
    return known == _entries.end() ? wanted : *known;
}

LiRateRegistry::Entry LiRateRegistry::getNearest( double rate, double maxDistance ) const {
    Entry nearest;
    for( const Entry& entry : _entries ) {
        const double distance = std::abs( entry.getComputedRate().getDouble() - rate );
        if( distance < maxDistance ) {
            maxDistance = distance;
            nearest = entry;
        }
    }
    return nearest;
}

const std::string& LiRateRegistry::Entry::getEnumName() const {
    return _imp->enumName;
}

int LiRateRegistry::Entry::getEnumVal() const {
    return _imp->enumVal;
}

const std::string& LiRateRegistry::Entry::getShortName() const {
    return _imp->shortName;
}

const std::string& LiRateRegistry::Entry::getDescription() const {
    return _imp->description;
}

const std::string& LiRateRegistry::Entry::getNumericName() const {
    return _imp->numericName;
}

const Rational& LiRateRegistry::Entry::getBaseRate() const {
    return _imp->baseRate;
}

const Rational& LiRateRegistry::Entry::getBaseFactorRate() const {
    return _imp->baseFactorRate;
}

const Rational& LiRateRegistry::Entry::getTimePullRate() const {
    return _imp->timePullRate;
}

const Rational& LiRateRegistry::Entry::getFactor() const {
    return _imp->factor;
}

const Rational& LiRateRegistry::Entry::getComputedRate() const {
    return _imp->computedRate;
}

const Rational& LiRateRegistry::Entry::getStandardRate() const {
    return _imp->standardRate;
}

} // namespace Qv
