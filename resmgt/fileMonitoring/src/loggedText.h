#pragma once

#include <base/text/printable.h>
#include <resmgt/logger/lgStream.h>
#include <resmgt/osal/osFilePath.h>

#include <string_view>

namespace Qv {

/// Text from outside in a log statement, without control characters. It is made while the statement
/// is written, where a lack of memory ends.
struct LoggedText {
    std::string_view text;
};

inline LgStream& operator<<( LgStream& stream, const LoggedText& logged ) {
    return stream << Printable::makeLine( logged.text );
}

/// The same for a path.
struct LoggedPath {
    const OsFilePath& path;
};

inline LgStream& operator<<( LgStream& stream, const LoggedPath& logged ) {
    return stream << LoggedText{ logged.path.toString() };
}

} // namespace Qv
