#pragma once

namespace Qv {

/// `atof` with the decimal point of the "C" locale, whatever the process's locale is. Platform.
double readDouble( const char* text );

} // namespace Qv
