#include <resmgt/literals/liTimeCodeCustom.h>

#include <base/failure/assertions.h>
#include <base/failure/qvHere.h>
#include <base/values/dtTimeEx.h>
#include <resmgt/literals/liEx.h>
#include <resmgt/literals/liStringUtil.h>
#include <resmgt/literals/src/liTimeCodeLabel.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <type_traits>

namespace Qv {

namespace {

__extension__ typedef __int128 Int128;
__extension__ typedef unsigned __int128 UInt128;

constexpr std::int64_t SECONDS_PER_DAY = 86400;
constexpr std::int64_t MINUTES_PER_DAY = 1440;
// Where the fields of a label begin, unless there are more than 99 hours, and how long it is in
// most formats.
constexpr std::size_t MINUTES_PLACE = 3;
constexpr std::size_t SECONDS_PLACE = 6;
constexpr std::size_t FRAMES_PLACE = 9;
constexpr std::size_t USUAL_SIZE = 11;
// Below this, counts of labels and frames have room in 64 bits for what drop-frame adds.
constexpr std::int64_t ROOMY = std::int64_t( 1 ) << 61;

// Rounds down, towards minus infinity.
std::int64_t daysOf( std::int64_t frame, std::int64_t framesPerDay ) {
    return frame >= 0 ? frame / framesPerDay : ( frame + 1 ) / framesPerDay - 1;
}

DtTimeIndex checkedIndex( Int128 index, const char* operation ) {
    if( index < std::numeric_limits<std::int64_t>::min() ||
        index > std::numeric_limits<std::int64_t>::max() ) {
        throw DtTimeEx::ExOutOfRange( QV_HERE, operation );
    }
    return DtTimeIndex( static_cast<std::int64_t>( index ) );
}

template <class Divisor>
std::int64_t placeInDay( std::int64_t frame, const Divisor& framesPerDay ) {
    const std::int64_t place = frame - framesPerDay.divide( frame ) * framesPerDay.getValue();
    return place < 0 ? place + framesPerDay.getValue() : place;
}

bool isRoomy( std::int64_t count ) {
    return count > -ROOMY && count < ROOMY;
}

int nbDigits( std::int64_t number ) {
    int digits = 1;
    for( ; number >= 10; number /= 10 ) {
        ++digits;
    }
    return digits;
}

std::int64_t powerOfTen( int exponent ) {
    std::int64_t result = 1;
    for( ; exponent > 0; --exponent ) {
        result *= 10;
    }
    return result;
}

// The digits that numbers below `limit` need.
int widthBelow( float limit ) {
    return static_cast<int>( std::ceil( std::log10( limit ) ) );
}

// Whether `label` has the usual size and the separators of `first`, which has it.
bool hasSeparatorsOf( const std::string& first, const std::string& label ) {
    const auto isSame = [&]( std::size_t place ) { return label[place] == first[place]; };
    return label.size() == USUAL_SIZE && isSame( MINUTES_PLACE - 1 ) &&
           isSame( SECONDS_PLACE - 1 ) && isSame( FRAMES_PLACE - 1 );
}

std::string zeroFilled( std::int64_t number, int width ) {
    std::string text( static_cast<std::size_t>( std::max( width, 1 ) ), '0' );
    writeInLabel( text, 0, text.size(), static_cast<std::uint64_t>( number ) );
    return text;
}

std::int64_t unitsOf( const Rational& rate, std::int64_t seconds ) {
    return rate.getNumerator() * seconds / rate.getDenominator();
}

} // namespace

LiTimeCodeCustom::Divisor::Divisor( std::int64_t value )
    : _value( value ) {
    if( value > 1 ) {
        const UInt128 two64 = UInt128( 1 ) << 64;
        const auto divisor = static_cast<std::uint64_t>( value );
        _inverse = static_cast<std::uint64_t>( ( two64 + divisor - 1 ) / divisor );
        _limit = static_cast<std::uint64_t>( two64 / divisor );
    }
}

// The inverse is 2^64 / value, rounded up: too large by e / value, where e < value. So the product
// is too large by dividend x e / value, which below the limit is less than 2^64 / value, and
// doesn't reach the next quotient. A multiplication takes a fifth of the time of a division.
template <class Int>
Int LiTimeCodeCustom::Divisor::divide( Int dividend ) const {
    if constexpr( std::is_same_v<Int, std::int64_t> ) {
        const auto number = static_cast<std::uint64_t>( dividend );
        if( number < _limit ) [[likely]] {
            return static_cast<std::int64_t>( ( UInt128( number ) * _inverse ) >> 64 );
        }
    }
    return _value == 1 ? dividend : dividend / _value;
}

LiTimeCodeCustom::Args::Args( const LiRateRegistry::Entry& frameRate )
    : rate( frameRate )
    , name( frameRate.getEnumName() )
    , shortName( frameRate.getShortName() ) {}

LiTimeCodeCustom::LiTimeCodeCustom( const Args& args )
    : LiTimeCode( args.name, args.shortName, args.rate, args.subFrameRate, args.dropFrames > 0 )
    , _args( args )
    , _rate( args.rate.getComputedRate() )
    , _fieldRate( 1, 1 )
    , _framesPerHour( unitsOf( args.rate.getBaseFactorRate(), 3600 ) )
    , _framesPerDay( unitsOf( args.wholeDay && !isDropFrame() ? args.rate.getBaseFactorRate()
                                                              : args.rate.getStandardRate(),
                              SECONDS_PER_DAY ) )
    , _framesPerMinute( _framesPerHour / 60 )
    , _framesPerSecond( _framesPerHour / 3600 ) {
    const Rational base = args.rate.getBaseFactorRate();
    if( base.getNumerator() % base.getDenominator() != 0 || _framesPerDay.getValue() == 0 ) {
        throw LiEx::ExBadRate( QV_HERE, args.rate.getEnumName().c_str(),
                               "has no whole number of frames a second for its labels" );
    }
    if( args.fieldBased ) {
        const auto twice = 2 * std::int64_t( _rate.getNumerator() );
        if( twice > std::numeric_limits<int>::max() ) {
            throw LiEx::ExBadRate( QV_HERE, args.rate.getEnumName().c_str(),
                                   "has a field rate that doesn't fit an int" );
        }
        _fieldRate = Rational( static_cast<int>( twice ), _rate.getDenominator() );
    }
    const int frameDigits =
        widthBelow( static_cast<float>( args.rate.getStandardRate().getDouble() ) );
    _firstLabel = std::string( "00" ) + args.hourMinuteSeparator + "00" +
                  args.minuteSecondSeparator + "00" + args.secondFrameSeparator +
                  zeroFilled( 0, frameDigits );
    _frameDigits = std::max( frameDigits, nbDigits( _framesPerSecond.getValue() - 1 ) );
    initializeDrop();
    initializeSubFrames();
    _lastHour =
        std::max<std::int64_t>( 23, toLabel( _framesPerDay.getValue() - 1 ) / _framesPerHour );
    _hourDigits = std::max( 2, nbDigits( _lastHour ) );
    _hasUsualForm = _hourDigits == 2 && _frameDigits == 2 && _firstLabel.size() == USUAL_SIZE;
}

void LiTimeCodeCustom::initializeDrop() {
    if( !isDropFrame() ) {
        return;
    }
    const std::int64_t period = _args.dropPeriod;
    const std::int64_t exceptMinutes = std::int64_t( _args.dropExceptPeriod ) * 10;
    if( period <= 0 || exceptMinutes <= 0 || exceptMinutes % period != 0 ||
        MINUTES_PER_DAY % exceptMinutes != 0 || _args.dropFrames >= _framesPerSecond.getValue() ) {
        throw LiEx::ExBadRate( QV_HERE, _args.rate.getEnumName().c_str(),
                               "has drop-frame periods that don't divide a day, or leaves out the "
                               "labels of a whole second" );
    }
    const std::int64_t blockFrames = _framesPerDay.getValue() / 24 * _args.dropExceptPeriod / 6;
    _dropBlockFrames = Divisor( blockFrames );
    _dropMinuteFrames = Divisor( period * _framesPerMinute.getValue() - _args.dropFrames );
    _exceptMinutes = Divisor( exceptMinutes );
    _dropMinutes = Divisor( period );
    _droppedPerBlock = ( exceptMinutes / period - 1 ) * _args.dropFrames;
    const std::int64_t labels = exceptMinutes * _framesPerMinute.getValue() - _droppedPerBlock;
    checkDropped( exceptMinutes, blockFrames, labels );
    checkDropped( MINUTES_PER_DAY, _framesPerDay.getValue(),
                  MINUTES_PER_DAY / exceptMinutes * labels );
}

void LiTimeCodeCustom::checkDropped( std::int64_t minutes, std::int64_t frames,
                                     std::int64_t labels ) const {
    if( frames == labels ) {
        return;
    }
    const LiRateRegistry::Entry& rate = _args.rate;
    std::string problem = "has " + LiStringUtil::convertNb( frames ) + " frames in " +
                          LiStringUtil::convertNb( minutes ) +
                          " minutes, for which drop-frame leaves " +
                          LiStringUtil::convertNb( labels ) + " labels";
    if( rate.hasTimePullRate() && !rate.overridesComputedRate() ) {
        problem += "; it was registered without a standard rate";
    }
    throw LiEx::ExBadRate( QV_HERE, rate.getEnumName().c_str(), problem.c_str() );
}

void LiTimeCodeCustom::initializeSubFrames() {
    if( _args.subFrameRate.isNull() ) {
        _subFramesPerDay = 1 / _rate.getDouble();
    } else {
        const Rational subRate = _args.subFrameRate.getComputedRate();
        const DtTime day( _framesPerDay.getValue(), _rate );
        _subFramesPerDay = static_cast<double>( day.convertRate( subRate ).getIndex().getValue() );
        // A frame lasts `units` / `parts` sub-frames and begins at most `parts` - 1 parts after
        // one.
        auto units =
            std::uint64_t( subRate.getNumerator() ) * std::uint64_t( _rate.getDenominator() );
        auto parts =
            std::uint64_t( subRate.getDenominator() ) * std::uint64_t( _rate.getNumerator() );
        const std::uint64_t common = std::gcd( units, parts );
        units /= common;
        parts /= common;
        _lastSubFrame = static_cast<std::int64_t>( ( units + 2 * ( parts - 1 ) ) / parts ) - 1;
    }
    if( !_args.hasSubFrames ) {
        return;
    }
    if( !_args.subFrameRate.isNull() ) {
        const double subFrames = _args.subFrameRate.getComputedRate().getDouble() /
                                 _args.rate.getStandardRate().getDouble();
        _subFrameWidth = std::max( widthBelow( static_cast<float>( subFrames ) ), 0 );
        return;
    }
    const int digits = _args.subFrameIntegerDigits + _args.subFrameDecimals;
    QV_ASSERT( _args.subFrameIntegerDigits >= 0 && _args.subFrameDecimals >= 0 );
    QV_ASSERT( digits >= 1 && digits <= 15 );
    _subFrameDecimals = _args.subFrameDecimals;
    _subFrameWidth = _subFrameDecimals == 0 ? digits : digits + 1;
}

// Both after SMPTE ST 12-1 for the rates that it covers.
template <class Int>
Int LiTimeCodeCustom::toLabel( Int frame ) const {
    const Int dropped = _args.dropFrames;
    if( dropped <= 0 ) {
        return frame;
    }
    const Int block = _dropBlockFrames.divide( frame );
    const Int rest = frame - block * _dropBlockFrames.getValue();
    // Rounding towards 0 matters: a block's first frames stand before its first drop.
    return frame + _droppedPerBlock * block + dropped * _dropMinuteFrames.divide( rest - dropped );
}

template <class Int>
Int LiTimeCodeCustom::toFrame( Int label ) const {
    if( _args.dropFrames <= 0 ) {
        return label;
    }
    const bool isNegative = label < 0;
    if( isNegative ) {
        label = 2 - label;
    }
    const Int minute = _framesPerMinute.divide( label );
    const Int frame = frameAt<Int>( minute, label - minute * _framesPerMinute.getValue() );
    return isNegative ? 2 - frame : frame;
}

template <class Int>
Int LiTimeCodeCustom::frameAt( Int minute, Int rest ) const {
    const Int label = minute * _framesPerMinute.getValue() + rest;
    const Int dropped = _args.dropFrames;
    if( dropped <= 0 ) {
        return label;
    }
    const Int nbExceptions = _exceptMinutes.divide( minute );
    const Int nbPeriods = _dropMinutes.divide( minute );
    const Int frame = label - dropped * ( nbPeriods - nbExceptions );
    if( rest >= dropped ) [[likely]] {
        return frame;
    }
    const bool isDropping = nbPeriods * _dropMinutes.getValue() == minute &&
                            nbExceptions * _exceptMinutes.getValue() != minute;
    return isDropping ? frame + dropped - rest : frame;
}

DtTimeIndex LiTimeCodeCustom::dropToNonDropAdjust( const DtTimeIndex& frame ) const {
    if( isRoomy( frame ) ) {
        return toLabel( frame.getValue() );
    }
    return checkedIndex( toLabel<Int128>( frame.getValue() ),
                         "LiTimeCodeCustom::dropToNonDropAdjust" );
}

DtTimeIndex LiTimeCodeCustom::nonDropToDropAdjust( const DtTimeIndex& label ) const {
    if( isRoomy( label ) ) {
        return toFrame( label.getValue() );
    }
    return checkedIndex( toFrame<Int128>( label.getValue() ),
                         "LiTimeCodeCustom::nonDropToDropAdjust" );
}

int LiTimeCodeCustom::getNbDroppedFrames( const DtTimeIndex& from, const DtTimeIndex& to ) const {
    if( _args.dropFrames <= 0 ) {
        return 0;
    }
    const std::int64_t fromDay = daysOf( from, _framesPerDay.getValue() );
    const std::int64_t toDay = daysOf( to, _framesPerDay.getValue() );
    const std::int64_t perDay =
        _args.dropFrames *
        ( MINUTES_PER_DAY / _args.dropPeriod - MINUTES_PER_DAY / ( _args.dropExceptPeriod * 10 ) );
    const auto droppedOfDay = [this]( std::int64_t frame, std::int64_t day ) {
        const auto rest =
            static_cast<std::int64_t>( frame - Int128( day ) * _framesPerDay.getValue() );
        return toLabel( rest ) - rest;
    };
    const Int128 delta = ( Int128( toDay ) - fromDay ) * perDay + droppedOfDay( to, toDay ) -
                         droppedOfDay( from, fromDay );
    const Int128 result = delta < 0 ? -delta : delta;
    if( result > std::numeric_limits<int>::max() ) {
        throw DtTimeEx::ExOutOfRange( QV_HERE, "LiTimeCodeCustom::getNbDroppedFrames" );
    }
    return static_cast<int>( result );
}

DtTimeIndex LiTimeCodeCustom::getDay( const DtTime& time ) const {
    return daysOf( time.convertRate( _rate ).getIndex(), _framesPerDay.getValue() );
}

std::string LiTimeCodeCustom::generate( const DtTimeIndex& frame ) const {
    const std::int64_t place = toLabel( placeInDay( frame, _framesPerDay ) );
    const std::int64_t wholeSecond = _framesPerSecond.divide( place );
    const auto second = static_cast<std::uint64_t>( wholeSecond );
    const auto frames =
        static_cast<std::uint64_t>( place - wholeSecond * _framesPerSecond.getValue() );
    // A copy of a size that the compiler knows, that of nearly all labels, takes no call.
    std::string label = _firstLabel.size() == USUAL_SIZE
                            ? std::string( _firstLabel.data(), USUAL_SIZE )
                            : _firstLabel;
    writeTwoDigits( &label[MINUTES_PLACE], second / 60 % 60 );
    writeTwoDigits( &label[SECONDS_PLACE], second % 60 );
    // These may become longer.
    writeInLabel( label, FRAMES_PLACE, _firstLabel.size() - FRAMES_PLACE, frames );
    writeInLabel( label, 0, 2, second / 3600 );
    return label;
}

std::string LiTimeCodeCustom::generate( const DtTime& time ) const {
    const std::int64_t frame = time.convertRate( _rate ).getIndex();
    std::string label = generate( DtTimeIndex( frame ) );
    const bool isInFrames = time.getRate() == _rate || time.getRate() == DtTime::SPECIAL_RATE;
    if( _args.fieldBased && !isInFrames ) {
        applyFieldFormat( label, time.convertRate( _fieldRate ).getIndex() );
    }
    if( _args.hasSubFrames ) {
        appendSubFrames( label, time, frame );
    }
    return label;
}

std::string LiTimeCodeCustom::generateFromField( const DtTimeIndex& field ) const {
    return _args.fieldBased ? generate( DtTime( field, _fieldRate ) ) : generate( field );
}

std::string LiTimeCodeCustom::generateFromSubFrame( const DtTimeIndex& subFrame ) const {
    return _args.subFrameRate.isNull()
               ? generate( subFrame )
               : generate( DtTime( subFrame, _args.subFrameRate.getComputedRate() ) );
}

void LiTimeCodeCustom::applyFieldFormat( std::string& label, std::int64_t field ) const {
    if( field % 2 != 0 ) {
        label[label.find_last_not_of( "0123456789" )] = _args.fieldSeparator;
    }
}

void LiTimeCodeCustom::appendSubFrames( std::string& label, const DtTime& time,
                                        std::int64_t frame ) const {
    label += _args.subFrameSeparator;
    const bool isSpecial = time.getRate() == DtTime::SPECIAL_RATE;
    if( !_args.subFrameRate.isNull() ) {
        const Rational subRate = _args.subFrameRate.getComputedRate();
        const std::int64_t start = DtTime( frame, _rate ).convertRate( subRate ).getIndex();
        const std::int64_t count =
            isSpecial ? 0 : time.convertRate( subRate ).getIndex().getValue() - start;
        label += zeroFilled( count, _subFrameWidth );
        return;
    }
    double fraction = 0;
    if( !isSpecial ) {
        const Rational& from = time.getRate();
        Int128 frames = Int128( time.getIndex().getValue() ) * from.getDenominator();
        frames *= _rate.getNumerator();
        const Int128 unit = Int128( from.getNumerator() ) * _rate.getDenominator();
        fraction = static_cast<double>( frames - unit * frame ) / static_cast<double>( unit );
    }
    label += generateSubFramePctStr( fraction );
}

std::string LiTimeCodeCustom::generateSubFramePctStr( double fraction ) const {
    const int digits = _args.subFrameIntegerDigits + _subFrameDecimals;
    const std::int64_t limit = powerOfTen( digits );
    const std::int64_t units = std::min<std::int64_t>(
        std::llround( fraction * static_cast<double>( limit ) ), limit - 1 );
    std::string text = zeroFilled( units, digits );
    if( _subFrameDecimals > 0 ) {
        text.insert( text.size() - static_cast<std::size_t>( _subFrameDecimals ), 1,
                     _args.subFrameDecimalPoint );
    }
    return text;
}

DtTime LiTimeCodeCustom::getTime( int hours, int minutes, int seconds, int frames ) const {
    const auto magnitude = []( int part ) { return std::abs( std::int64_t( part ) ); };
    const Int128 label = Int128( magnitude( hours ) ) * _framesPerHour +
                         Int128( magnitude( minutes ) ) * _framesPerMinute.getValue() +
                         Int128( magnitude( seconds ) ) * _framesPerSecond.getValue() +
                         magnitude( frames );
    const bool isNegative = hours < 0 || minutes < 0 || seconds < 0 || frames < 0;
    const std::int64_t frame =
        nonDropToDropAdjust( checkedIndex( label, "LiTimeCodeCustom::getTime" ) );
    return DtTime( isNegative ? -frame : frame, _rate );
}

DtTime LiTimeCodeCustom::getTime( const std::string& label ) const {
    if( _hasUsualForm && hasSeparatorsOf( _firstLabel, label ) ) [[likely]] {
        const unsigned hours = readTwoDigits( &label[0] );
        const unsigned minutes = readTwoDigits( &label[MINUTES_PLACE] );
        const unsigned seconds = readTwoDigits( &label[SECONDS_PLACE] );
        const unsigned frames = readTwoDigits( &label[FRAMES_PLACE] );
        const auto perSecond = static_cast<unsigned>( _framesPerSecond.getValue() );
        if( hours <= static_cast<unsigned>( _lastHour ) && minutes < 60 && seconds < 60 &&
            frames < perSecond ) [[likely]] {
            return DtTime(
                frameAt<std::int64_t>( hours * 60 + minutes, seconds * perSecond + frames ),
                _rate );
        }
    }
    return readTime( label );
}

DtTime LiTimeCodeCustom::readTime( const std::string& label ) const {
    LiTimeCodeLabelReader reader( label, getName() );
    const std::int64_t perSecond = _framesPerSecond.getValue();
    // What edit lists put in place of a format's own separator.
    const auto listed = [this]( char own, char other ) { return isDropFrame() ? other : own; };
    const auto readSeparator = [&]( char own ) { reader.readSeparator( own, listed( own, ':' ) ); };
    const auto hours = reader.readNumber( "hours", _hourDigits, _lastHour );
    readSeparator( _args.hourMinuteSeparator );
    const auto minutes = reader.readNumber( "minutes", 2, 59 );
    readSeparator( _args.minuteSecondSeparator );
    const auto seconds = reader.readNumber( "seconds", 2, 59 );
    const char usual = _args.secondFrameSeparator;
    const char mark = _args.fieldBased ? _args.fieldSeparator : usual;
    const char separator = reader.readSeparator( usual, mark, listed( usual, ';' ) );
    const auto frames = reader.readNumber( "frames", _frameDigits, perSecond - 1 );
    const DtTime time( frameAt( hours * 60 + minutes, seconds * perSecond + frames ), _rate );
    if( _args.hasSubFrames && reader.isAt( _args.subFrameSeparator ) ) {
        return readSubFrames( reader, time );
    }
    reader.readEnd();
    const bool isMarked = separator != usual && separator == mark;
    return isMarked ? DtTime( 2 * time.getIndex() + 1, _fieldRate ) : time;
}

DtTime LiTimeCodeCustom::readSubFrames( LiTimeCodeLabelReader& reader,
                                        const DtTime& frameTime ) const {
    reader.readSeparator( _args.subFrameSeparator );
    const DtTime time = _args.subFrameRate.isNull() ? readSubFrameFraction( reader, frameTime )
                                                    : readSubFrameCount( reader, frameTime );
    reader.readEnd();
    return time;
}

DtTime LiTimeCodeCustom::readSubFrameCount( LiTimeCodeLabelReader& reader,
                                            const DtTime& frameTime ) const {
    const int width = std::max( _subFrameWidth, nbDigits( _lastSubFrame ) );
    const std::int64_t count = reader.readNumber( "sub-frames", width, _lastSubFrame );
    if( count == 0 ) {
        return frameTime;
    }
    const Rational subRate = _args.subFrameRate.getComputedRate();
    return DtTime( frameTime.convertRate( subRate ).getIndex() + count, subRate );
}

DtTime LiTimeCodeCustom::readSubFrameFraction( LiTimeCodeLabelReader& reader,
                                               const DtTime& frameTime ) const {
    std::int64_t units = 0;
    int digits = _args.subFrameIntegerDigits;
    if( digits > 0 ) {
        units = reader.readNumber( "sub-frames", digits, powerOfTen( digits ) - 1 );
    }
    if( _subFrameDecimals > 0 ) {
        reader.readSeparator( _args.subFrameDecimalPoint );
        const auto [decimals, nbRead] = reader.readDecimals( "sub-frames", _subFrameDecimals );
        units = units * powerOfTen( nbRead ) + decimals;
        digits += nbRead;
    }
    for( ;; --digits, units /= 10 ) {
        const std::int64_t divisor = std::gcd( units, powerOfTen( digits ) );
        const std::int64_t perFrame = powerOfTen( digits ) / divisor;
        const std::int64_t common = std::gcd( perFrame, std::int64_t( _rate.getDenominator() ) );
        const std::int64_t factor = perFrame / common;
        if( factor <= std::numeric_limits<int>::max() / _rate.getNumerator() ) {
            const Int128 index = Int128( frameTime.getIndex() ) * perFrame + units / divisor;
            return DtTime( checkedIndex( index, "LiTimeCodeCustom::getTime" ),
                           Rational( static_cast<int>( _rate.getNumerator() * factor ),
                                     static_cast<int>( _rate.getDenominator() / common ) ) );
        }
    }
}

} // namespace Qv
