// Frame indices and timecodes of the built-in formats:
//
//     timecodes rates
//     timecodes formats
//     timecodes FORMAT label INDEX...
//     timecodes FORMAT index LABEL...
//     timecodes FORMAT add FORMAT LABEL [FORMAT LABEL]...
//
// A format is named by its name or short name, "NTSC DF", or by any frame rate: "47.95", "120",
// with drop-frame "119.88 DF". The last form adds durations in any formats exactly and prints the
// sum in the first one.

#include <base/init/inInitGuard.h>
#include <base/text/printable.h>
#include <base/values/dtTime.h>
#include <resmgt/literals/liRateRegistry.h>
#include <resmgt/literals/liStringUtil.h>
#include <resmgt/literals/liTimeCodeFactory.h>

#include <cstdio>
#include <exception>
#include <numeric>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

Qv::RCShdPtr<Qv::LiTimeCode> findFormat( const std::string& name ) {
    const Qv::LiTimeCodeFactory& factory = Qv::LiTimeCodeFactory::getInstance();
    for( const auto& format : factory ) {
        if( format->getName() == name || format->getShortName() == name ) {
            return format;
        }
    }
    if( name.find_first_not_of( "0123456789. DF" ) != std::string::npos ) {
        throw std::runtime_error( "there is no format \"" + name + "\"; see: timecodes formats" );
    }
    const bool isDropFrame = name.ends_with( " DF" );
    const std::string rate = isDropFrame ? name.substr( 0, name.size() - 3 ) : name;
    return factory.create( Qv::LiStringUtil::convertToDouble( rate ), isDropFrame );
}

void printRates() {
    for( const auto& rate : Qv::LiRateRegistry::getInstance() ) {
        const Qv::Rational& value = rate.getComputedRate();
        std::printf( "%-8s %-16s %12s %9d/%-5d %s\n", rate.getEnumName().c_str(),
                     rate.getShortName().c_str(), rate.getNumericName().c_str(),
                     value.getNumerator(), value.getDenominator(), rate.getDescription().c_str() );
    }
}

void printFormats() {
    for( const auto& format : Qv::LiTimeCodeFactory::getInstance() ) {
        std::printf( "%-19s %-11s %10lld frames a day, the last one %s\n",
                     format->getName().c_str(), format->getShortName().c_str(),
                     static_cast<long long>( format->getFramesPerDay() ),
                     format->generate( Qv::DtTimeIndex( -1 ) ).c_str() );
    }
}

void printTime( const Qv::LiTimeCode& format, const Qv::DtTime& time ) {
    std::printf( "%lld %s day %lld\n",
                 static_cast<long long>( time.convertRate( format.getFrameRate() ).getIndex() ),
                 format.generate( time ).c_str(), static_cast<long long>( format.getDay( time ) ) );
}

// The sum of two times in units that both are whole numbers of.
Qv::DtTime sum( const Qv::DtTime& a, const Qv::DtTime& b ) {
    const Qv::Rational& left = a.getRate();
    const Qv::Rational& right = b.getRate();
    const long long numerator = std::lcm<long long>( left.getNumerator(), right.getNumerator() );
    const int denominator = std::gcd( left.getDenominator(), right.getDenominator() );
    const auto fitting = static_cast<int>( numerator );
    if( fitting != numerator ) {
        throw std::runtime_error( "these rates have no common unit" );
    }
    return a.convertRate( Qv::Rational( fitting, denominator ) ) + b;
}

void addDurations( const Qv::LiTimeCode& format, const std::vector<std::string>& summands ) {
    if( summands.size() < 2 || summands.size() % 2 != 0 ) {
        throw std::runtime_error( "each duration is a format and a label" );
    }
    Qv::DtTime total( 0, format.getFrameRate() );
    for( std::size_t i = 0; i < summands.size(); i += 2 ) {
        total = sum( total, findFormat( summands[i] )->getTime( summands[i + 1] ) );
    }
    printTime( format, total );
}

void runCommand( const std::vector<std::string>& words ) {
    if( words.size() == 1 && words[0] == "rates" ) {
        return printRates();
    }
    if( words.size() == 1 && words[0] == "formats" ) {
        return printFormats();
    }
    const std::string action = words.size() < 3 ? "" : words[1];
    if( action != "label" && action != "index" && action != "add" ) {
        throw std::runtime_error( "say: rates, formats, FORMAT label INDEX, FORMAT index LABEL, or "
                                  "FORMAT add FORMAT LABEL" );
    }
    const Qv::RCShdPtr<Qv::LiTimeCode> found = findFormat( words[0] );
    const Qv::LiTimeCode& format = *found;
    const std::vector<std::string> operands( words.begin() + 2, words.end() );
    if( action == "add" ) {
        return addDurations( format, operands );
    }
    for( const std::string& operand : operands ) {
        printTime( format, action == "index"
                               ? format.getTime( operand )
                               : Qv::DtTime( Qv::LiStringUtil::convertToLong( operand ),
                                             format.getFrameRate() ) );
    }
}

int run( int argc, const char* const* argv ) {
    const Qv::InInitGuard packages( argc, argv );
    runCommand( std::vector<std::string>( argv + 1, argv + argc ) );
    return 0;
}

} // namespace

int main( int argc, char** argv ) {
    try {
        return run( argc, argv );
    } catch( const std::exception& failure ) {
        std::fprintf( stderr, "timecodes: %s\n",
                      Qv::Printable::makeText( failure.what() ).c_str() );
        return 1;
    }
}
