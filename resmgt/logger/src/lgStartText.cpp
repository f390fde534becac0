#include <resmgt/logger/src/lgStartText.h>

#include <resmgt/profiling/hwCounter.h>

#include <iomanip>
#include <locale>
#include <sstream>

namespace Qv {

std::string LgStartText::makeHeader( bool hasTimeStamps ) {
    std::ostringstream header;
    header.imbue( std::locale::classic() );
    header << makeDated( "Logger started on " );
    if( hasTimeStamps ) {
        const double frequency =
            static_cast<double>( HwCounter::getRateNumerator() ) / HwCounter::getRateDenominator();
        header << "(Clock frequency = " << std::fixed << std::setprecision( 12 ) << frequency
               << ")";
    }
    header << "\n";
    return header.str();
}

} // namespace Qv
