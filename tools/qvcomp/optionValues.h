#pragma once

#include <tools/qvcomp/options.h>

#include <cstdint>
#include <string>

/// The values of options as they are typed. `option` is what a failure names, the option or the
/// setting.
///
/// Errors: a value that isn't one is a UsageFailure, or the Failure that is asked for.
namespace Qv::Comp {

/// `Refusal` is UsageFailure or Failure.
template <class Refusal>
int parseInt( const std::string& option, const std::string& text, int least, int most );

/// A number of bytes such as 300, 64K, 2M or 1G, in powers of 1024, that isn't 0 and fits 62 bits:
/// sums of two such counts still fit 64 bits. `Refusal` is UsageFailure or Failure.
template <class Refusal>
std::uint64_t parseByteCount( const std::string& option, const std::string& text );

double parseSeconds( const std::string& option, const std::string& text );

/// `least` and `most` as they are shown.
double parseDecimal( const std::string& option, const std::string& text, const char* least,
                     const char* most );

/// Pixels, or with "%" a part of the frame's width.
GlowRadius parseGlowRadius( const std::string& option, const std::string& text );

FrameRange parseFrameRange( const std::string& text );

/// Two whole numbers such as 120,-40 or +120,-40.
void parseOffset( const std::string& option, const std::string& text, LayerOptions& layer );

void parseSize( const std::string& text, Options& options );

/// One of the words of Dithering, Fit, Manager, Mattes, Operation, Policy, ReportForm or Strategy.
template <class T>
T parseWord( const std::string& option, const std::string& text );

/// The display name of the level that is written in any case, with "-" for a blank; empty for none.
std::string findLogLevel( const std::string& text );

void checkLogLevel( const std::string& option, const std::string& text );

/// The path that the system finds by `typed`.
///
/// Errors: Failure for a path that leads nowhere, as for those that follow.
OsFilePath resolve( const std::string& typed );

/// The same after patterns were expanded.
OsFilePath toPath( const std::string& text );

/// The path of a file, as which the system takes nothing that ends as only a folder can.
OsFilePath resolveFile( const std::string& typed );

/// The same after patterns were expanded.
OsFilePath toFile( const std::string& text );

} // namespace Qv::Comp
