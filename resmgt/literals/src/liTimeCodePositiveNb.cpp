#include <resmgt/literals/liTimeCodePositiveNb.h>

#include <base/failure/qvHere.h>
#include <base/values/dtTimeEx.h>
#include <resmgt/literals/liEx.h>
#include <resmgt/literals/liStringUtil.h>

#include <charconv>
#include <cstdlib>
#include <limits>

namespace Qv {

namespace {

const Rational& checked( const Rational& rate ) {
    if( rate.getNumerator() <= 0 || rate.getDenominator() <= 0 ) {
        const std::string text = LiStringUtil::convertNb( rate.getNumerator() ) + '/' +
                                 LiStringUtil::convertNb( rate.getDenominator() );
        throw LiEx::ExBadRate( QV_HERE, text.c_str(), "has a part that isn't positive" );
    }
    return rate;
}

std::string inHz( const char* text, const Rational& rate ) {
    return std::string( text ) + " (" + LiStringUtil::convertNb( rate.getDouble() ) + " Hz)";
}

const char* const NAME = "1-based frame number";
const char* const SHORT_NAME = "1-based";

} // namespace

LiTimeCodePositiveNb::LiTimeCodePositiveNb()
    : LiTimeCode( std::string( NAME ) + " (unknown rate)", SHORT_NAME )
    , _rate( DtTime::SPECIAL_RATE ) {}

LiTimeCodePositiveNb::LiTimeCodePositiveNb( const LiRateRegistry::Entry& rate )
    : LiTimeCode( inHz( NAME, rate.getComputedRate() ), inHz( SHORT_NAME, rate.getComputedRate() ),
                  rate )
    , _rate( rate.getComputedRate() ) {}

LiTimeCodePositiveNb::LiTimeCodePositiveNb( const Rational& rate )
    : LiTimeCode( inHz( NAME, checked( rate ) ), inHz( SHORT_NAME, rate ) )
    , _rate( rate ) {}

Rational LiTimeCodePositiveNb::getFrameRate() const {
    return _rate == DtTime::SPECIAL_RATE ? Rational( 1, 1 ) : _rate;
}

std::int64_t LiTimeCodePositiveNb::getFramesPerDay() const {
    return DtTime( 86400, 1, 1 ).convertRate( getFrameRate() ).getIndex();
}

double LiTimeCodePositiveNb::getSubFramesPerDay() const {
    return 1 / getFrameRate().getDouble();
}

DtTimeIndex LiTimeCodePositiveNb::getDay( const DtTime& time ) const {
    // By the second: the rate may have less than a frame a day.
    return DtTime( time.convertRate( _rate ).getIndex(), getFrameRate() )
        .convertRate( Rational( 1, 86400 ) )
        .getIndex();
}

std::string LiTimeCodePositiveNb::generate( const DtTime& time ) const {
    return generate( time.convertRate( _rate ).getIndex() );
}

std::string LiTimeCodePositiveNb::generate( const DtTimeIndex& frame ) const {
    if( frame == std::numeric_limits<std::int64_t>::max() ) {
        throw DtTimeEx::ExOutOfRange( QV_HERE, "LiTimeCodePositiveNb::generate" );
    }
    return LiStringUtil::convertNb( frame + 1 );
}

std::string LiTimeCodePositiveNb::generateFromField( const DtTimeIndex& field ) const {
    return generate( field );
}

std::string LiTimeCodePositiveNb::generateFromSubFrame( const DtTimeIndex& subFrame ) const {
    return generate( subFrame );
}

DtTime LiTimeCodePositiveNb::getTime( int hours, int minutes, int seconds, int frames ) const {
    const auto magnitude = []( int part ) { return std::abs( std::int64_t( part ) ); };
    const DtTime whole(
        magnitude( hours ) * 3600 + magnitude( minutes ) * 60 + magnitude( seconds ), 1, 1 );
    const DtTime time =
        whole.convertRate( getFrameRate() ) + DtTime( magnitude( frames ), getFrameRate() );
    const bool isNegative = hours < 0 || minutes < 0 || seconds < 0 || frames < 0;
    return isNegative ? DtTime( -time.getIndex(), time.getRate() ) : time;
}

DtTime LiTimeCodePositiveNb::getTime( const std::string& label ) const {
    const auto fail = [&]( std::size_t place, const char* problem ) {
        throw LiEx::ExBadTimeCode( QV_HERE, label, getName(), place, problem );
    };
    const char* const blanks = " \t";
    const std::size_t begin = std::min( label.find_first_not_of( blanks ), label.size() );
    long long number = 0;
    const char* const end = label.data() + label.size();
    const auto [stop, error] = std::from_chars( label.data() + begin, end, number );
    const auto place = static_cast<std::size_t>( stop - label.data() );
    if( error == std::errc::invalid_argument ) {
        fail( begin, "a number is missing" );
    }
    const std::size_t rest = label.find_first_not_of( blanks, place );
    if( rest != std::string::npos ) {
        fail( rest, "the number ends before" );
    }
    if( error != std::errc() || number == std::numeric_limits<long long>::min() ) {
        fail( begin, "the number doesn't fit 64 bits" );
    }
    return DtTime( number - 1, getFrameRate() );
}

} // namespace Qv
