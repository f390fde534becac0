#pragma once

#include <base/failure/exBase.h>
#include <resmgt/resmgtApi.h>

#include <string>

/// Failures of init files and message files. Lines count from 1; a zero character of a text stands
/// in the reason as "?".
namespace Qv::InTextFileEx {

/// The file isn't there or can't be opened.
class QV_RESMGT_API ExCannotOpen : public ExCloneable<ExCannotOpen, ExBase> {
public:
    /// `detail` holds what the system said, and the fate of a file that was to be replaced.
    ExCannotOpen( const char* file, int line, const char* textFile, const char* detail );
};

/// Reading or writing broke off.
class QV_RESMGT_API ExFileError : public ExCloneable<ExFileError, ExBase> {
public:
    /// While the given line was read.
    ExFileError( const char* file, int line, const char* textFile, int lineNo, const char* detail );
    /// While the file was replaced; `detail` says what is where now.
    ExFileError( const char* file, int line, const char* textFile, const char* detail );
};

/// A line without a name, with a zero character in its value, or one that can't follow a line to be
/// continued.
class QV_RESMGT_API ExInvalidFormat : public ExCloneable<ExInvalidFormat, ExBase> {
public:
    ExInvalidFormat( const char* file, int line, const char* textFile, int lineNo );
    /// A value that can't be written.
    ExInvalidFormat( const char* file, int line, const char* textFile, const char* detail );
};

/// A name with a character that names can't hold.
class QV_RESMGT_API ExInvalidToken : public ExCloneable<ExInvalidToken, ExBase> {
public:
    ExInvalidToken( const char* file, int line, const char* textFile, int lineNo,
                    const std::string& name );
    /// The name was to be written.
    ExInvalidToken( const char* file, int line, const char* textFile, const std::string& name );
};

/// A line, or several that continue each other, of more characters than there is room for.
class QV_RESMGT_API ExLineTooLong : public ExCloneable<ExLineTooLong, ExBase> {
public:
    ExLineTooLong( const char* file, int line, const char* textFile, int lineNo );
};

} // namespace Qv::InTextFileEx
