#include <resmgt/literals/liTimeCodeCustom.h>

#include <base/failure/assertions.h>
#include <base/failure/qvHere.h>
#include <base/values/dtTimeEx.h>
#include <resmgt/literals/liEx.h>
#include <resmgt/literals/src/liTimeCodeLabel.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace Qv {

namespace {

__extension__ typedef __int128 Int128;

constexpr std::int64_t SECONDS_PER_DAY = 86400;
// Below this, counts of labels and frames have room in 64 bits for what drop-frame adds.
constexpr std::int64_t ROOMY = std::int64_t( 1 ) << 61;

// Rounds down, towards minus infinity.
std::int64_t daysOf( std::int64_t frame, std::int64_t framesPerDay ) {
    return frame >= 0 ? frame / framesPerDay : ( frame + 1 ) / framesPerDay - 1;
}

std::int64_t placeInDay( std::int64_t frame, std::int64_t framesPerDay ) {
    const std::int64_t place = frame % framesPerDay;
    return place < 0 ? place + framesPerDay : place;
}

DtTimeIndex checkedIndex( Int128 index, const char* operation ) {
    if( index < std::numeric_limits<std::int64_t>::min() ||
        index > std::numeric_limits<std::int64_t>::max() ) {
        throw DtTimeEx::ExOutOfRange( QV_HERE, operation );
    }
    return DtTimeIndex( static_cast<std::int64_t>( index ) );
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

std::int64_t unitsOf( const Rational& rate, std::int64_t seconds ) {
    return rate.getNumerator() * seconds / rate.getDenominator();
}

} // namespace

LiTimeCodeCustom::Args::Args( const LiRateRegistry::Entry& frameRate )
    : rate( frameRate )
    , name( frameRate.getEnumName() )
    , shortName( frameRate.getShortName() ) {}

LiTimeCodeCustom::LiTimeCodeCustom( const Args& args )
    : LiTimeCode( args.name, args.shortName, args.rate, args.subFrameRate, args.dropFrames > 0 )
    , _args( args )
    , _fieldRate( 1, 1 )
    , _framesPerHour( unitsOf( args.rate.getBaseFactorRate(), 3600 ) )
    , _framesPerMinute( _framesPerHour / 60 )
    , _framesPerSecond( _framesPerMinute / 60 )
    , _framesPerDay( unitsOf( args.rate.getStandardRate(), SECONDS_PER_DAY ) ) {
    const Rational base = args.rate.getBaseFactorRate();
    if( base.getNumerator() % base.getDenominator() != 0 || _framesPerDay == 0 ) {
        throw LiEx::ExBadRate( QV_HERE, args.rate.getEnumName().c_str(),
                               "has no whole number of frames a second for its labels" );
    }
    if( args.fieldBased ) {
        const Rational rate = args.rate.getComputedRate();
        const auto twice = 2 * std::int64_t( rate.getNumerator() );
        if( twice > std::numeric_limits<int>::max() ) {
            throw LiEx::ExBadRate( QV_HERE, args.rate.getEnumName().c_str(),
                                   "has a field rate that doesn't fit an int" );
        }
        _fieldRate = Rational( static_cast<int>( twice ), rate.getDenominator() );
    }
    _frameDigits =
        std::max( widthBelow( static_cast<float>( args.rate.getStandardRate().getDouble() ) ), 0 );
    initializeDrop();
    initializeSubFrames();
    _lastHour = std::max<std::int64_t>( 23, toLabel( _framesPerDay - 1 ) / _framesPerHour );
}

void LiTimeCodeCustom::initializeDrop() {
    if( _args.dropFrames <= 0 ) {
        return;
    }
    QV_ASSERT( _args.dropPeriod > 0 && _args.dropExceptPeriod > 0 );
    QV_ASSERT( _args.dropExceptPeriod * 10 % _args.dropPeriod == 0 );
    QV_ASSERT( _args.dropFrames < _framesPerSecond );
    _dropBlockFrames = _framesPerDay / 24 * _args.dropExceptPeriod / 6;
    _droppedPerBlock = ( _args.dropExceptPeriod * 10 / _args.dropPeriod - 1 ) * _args.dropFrames;
    _dropMinuteFrames = _args.dropPeriod * 60 * _framesPerSecond - _args.dropFrames;
    QV_ASSERT( _dropBlockFrames > 0 );
}

void LiTimeCodeCustom::initializeSubFrames() {
    if( _args.subFrameRate.isNull() ) {
        _subFramesPerDay = 1 / getFrameRate().getDouble();
    } else {
        const DtTime day( _framesPerDay, getFrameRate() );
        _subFramesPerDay = static_cast<double>(
            day.convertRate( _args.subFrameRate.getComputedRate() ).getIndex().getValue() );
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

// Both after SMPTE ST 12-1 for the rates that it tells of.
template <class Int>
Int LiTimeCodeCustom::toLabel( Int frame ) const {
    const Int dropped = _args.dropFrames;
    if( dropped <= 0 ) {
        return frame;
    }
    const Int block = frame / _dropBlockFrames;
    const Int rest = frame - block * _dropBlockFrames;
    // Rounding towards 0 matters: a block's first frames stand before its first drop.
    return frame + _droppedPerBlock * block + dropped * ( ( rest - dropped ) / _dropMinuteFrames );
}

template <class Int>
Int LiTimeCodeCustom::toFrame( Int label ) const {
    const Int dropped = _args.dropFrames;
    if( dropped <= 0 ) {
        return label;
    }
    const bool isNegative = label < 0;
    if( isNegative ) {
        label = 2 - label;
    }
    const Int minute = label / _framesPerMinute;
    const Int rest = label - minute * _framesPerMinute;
    const int exceptMinutes = _args.dropExceptPeriod * 10;
    const Int nbExceptions = minute / exceptMinutes;
    const Int nbPeriods = minute / _args.dropPeriod;
    Int frame = label - dropped * ( nbPeriods - nbExceptions );
    const bool isDropping =
        nbPeriods * _args.dropPeriod == minute && nbExceptions * exceptMinutes != minute;
    if( isDropping && rest < dropped ) {
        frame += dropped - rest;
    }
    return isNegative ? 2 - frame : frame;
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
    const std::int64_t fromDay = daysOf( from, _framesPerDay );
    const std::int64_t toDay = daysOf( to, _framesPerDay );
    const std::int64_t perDay =
        _args.dropFrames * ( 1440 / _args.dropPeriod - 1440 / ( _args.dropExceptPeriod * 10 ) );
    const auto droppedOfDay = [this]( std::int64_t frame, std::int64_t day ) {
        const auto rest = static_cast<std::int64_t>( frame - Int128( day ) * _framesPerDay );
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
    return daysOf( time.convertRate( getFrameRate() ).getIndex(), _framesPerDay );
}

std::string LiTimeCodeCustom::generate( const DtTimeIndex& frame ) const {
    std::int64_t rest = toLabel( placeInDay( frame, _framesPerDay ) );
    LiTimeCodeLabel label;
    label.append( rest / _framesPerHour, 2 );
    rest %= _framesPerHour;
    label.append( _args.hourMinuteSeparator );
    label.append( rest / _framesPerMinute, 2 );
    rest %= _framesPerMinute;
    label.append( _args.minuteSecondSeparator );
    label.append( rest / _framesPerSecond, 2 );
    label.append( _args.secondFrameSeparator );
    label.append( rest % _framesPerSecond, _frameDigits );
    return label.getText();
}

std::string LiTimeCodeCustom::generate( const DtTime& time ) const {
    const std::int64_t frame = time.convertRate( getFrameRate() ).getIndex();
    std::string label = generate( DtTimeIndex( frame ) );
    const bool isInFrames =
        time.getRate() == getFrameRate() || time.getRate() == DtTime::SPECIAL_RATE;
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
    const Rational rate = getFrameRate();
    if( !_args.subFrameRate.isNull() ) {
        const Rational subRate = _args.subFrameRate.getComputedRate();
        const std::int64_t start = DtTime( frame, rate ).convertRate( subRate ).getIndex();
        const std::int64_t count =
            isSpecial ? 0 : time.convertRate( subRate ).getIndex().getValue() - start;
        // Frames of other days may begin elsewhere between sub-frames, and have one more.
        const DtTime shown( placeInDay( frame, _framesPerDay ), rate );
        LiTimeCodeLabel digits;
        digits.append( std::min( count, getLastSubFrame( shown ) ), _subFrameWidth );
        label += digits.getText();
        return;
    }
    double fraction = 0;
    if( !isSpecial ) {
        const Rational& from = time.getRate();
        Int128 frames = Int128( time.getIndex().getValue() ) * from.getDenominator();
        frames *= rate.getNumerator();
        const Int128 unit = Int128( from.getNumerator() ) * rate.getDenominator();
        fraction = static_cast<double>( frames - unit * frame ) / static_cast<double>( unit );
    }
    label += generateSubFramePctStr( fraction );
}

std::string LiTimeCodeCustom::generateSubFramePctStr( double fraction ) const {
    const int digits = _args.subFrameIntegerDigits + _subFrameDecimals;
    const std::int64_t limit = powerOfTen( digits );
    const std::int64_t units = std::min<std::int64_t>(
        std::llround( fraction * static_cast<double>( limit ) ), limit - 1 );
    LiTimeCodeLabel label;
    label.append( units, digits );
    std::string text = label.getText();
    if( _subFrameDecimals > 0 ) {
        text.insert( text.size() - static_cast<std::size_t>( _subFrameDecimals ), 1,
                     _args.subFrameDecimalPoint );
    }
    return text;
}

DtTime LiTimeCodeCustom::getTime( int hours, int minutes, int seconds, int frames ) const {
    const auto magnitude = []( int part ) { return std::abs( std::int64_t( part ) ); };
    const Int128 label = Int128( magnitude( hours ) ) * _framesPerHour +
                         Int128( magnitude( minutes ) ) * _framesPerMinute +
                         Int128( magnitude( seconds ) ) * _framesPerSecond + magnitude( frames );
    const bool isNegative = hours < 0 || minutes < 0 || seconds < 0 || frames < 0;
    const std::int64_t frame =
        nonDropToDropAdjust( checkedIndex( label, "LiTimeCodeCustom::getTime" ) );
    return DtTime( isNegative ? -frame : frame, getFrameRate() );
}

DtTime LiTimeCodeCustom::getTime( const std::string& label ) const {
    LiTimeCodeLabelReader reader( label, getName() );
    const auto hours =
        reader.readNumber( "hours", std::max( 2, nbDigits( _lastHour ) ), _lastHour );
    reader.readSeparator( _args.hourMinuteSeparator );
    const auto minutes = reader.readNumber( "minutes", 2, 59 );
    reader.readSeparator( _args.minuteSecondSeparator );
    const auto seconds = reader.readNumber( "seconds", 2, 59 );
    const char mark = _args.fieldBased ? _args.fieldSeparator : _args.secondFrameSeparator;
    const bool isMarked = reader.readSeparator( _args.secondFrameSeparator, mark );
    const int width = std::max( _frameDigits, nbDigits( _framesPerSecond - 1 ) );
    const auto frames = reader.readNumber( "frames", width, _framesPerSecond - 1 );
    const DtTime time = getTime( static_cast<int>( hours ), static_cast<int>( minutes ),
                                 static_cast<int>( seconds ), static_cast<int>( frames ) );
    if( _args.hasSubFrames && reader.isAt( _args.subFrameSeparator ) ) {
        return readSubFrames( reader, time );
    }
    reader.readEnd();
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

std::int64_t LiTimeCodeCustom::getLastSubFrame( const DtTime& frameTime ) const {
    const Rational subRate = _args.subFrameRate.getComputedRate();
    const std::int64_t start = frameTime.convertRate( subRate ).getIndex();
    const DtTime nextFrame( frameTime.getIndex() + 1, frameTime.getRate() );
    std::int64_t last = nextFrame.convertRate( subRate ).getIndex() - start;
    if( DtTime( start + last, subRate ) >= nextFrame ) {
        --last;
    }
    return std::max<std::int64_t>( last, 0 );
}

DtTime LiTimeCodeCustom::readSubFrameCount( LiTimeCodeLabelReader& reader,
                                            const DtTime& frameTime ) const {
    const Rational subRate = _args.subFrameRate.getComputedRate();
    const std::int64_t start = frameTime.convertRate( subRate ).getIndex();
    const std::int64_t last = getLastSubFrame( frameTime );
    const int width = std::max( _subFrameWidth, nbDigits( last ) );
    const std::int64_t count = reader.readNumber( "sub-frames", width, last );
    return count == 0 ? frameTime : DtTime( start + count, subRate );
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
    const Rational rate = getFrameRate();
    const std::int64_t largest = std::numeric_limits<int>::max() / rate.getNumerator();
    while( digits > 0 && ( units % 10 == 0 || powerOfTen( digits ) > largest ) ) {
        units /= 10;
        --digits;
    }
    const std::int64_t perFrame = powerOfTen( digits );
    return DtTime(
        frameTime.getIndex() * perFrame + units,
        Rational( static_cast<int>( rate.getNumerator() * perFrame ), rate.getDenominator() ) );
}

} // namespace Qv
