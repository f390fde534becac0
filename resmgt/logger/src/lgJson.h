#pragma once

#include <resmgt/logger/lgLog.h>

#include <cstdint>
#include <string>
#include <string_view>

/// The lines of the file QV_LOG_JSON, an object each; docs/logging.md describes the fields.
///
/// Text: what isn't UTF-8 becomes U+FFFD, a character for each byte.
namespace Qv::LgJson {

/// The object, its line end included. `message` is the statement's text with the group, if any.
std::string makeLine( const LgLog::EntryInfo& info, std::string_view message );
/// The object that counts lines which the file didn't take.
std::string makeLoss( std::uint64_t nbLines, int error );

} // namespace Qv::LgJson
