#pragma once

#include <base/containers/hashMap.h>
#include <resmgt/osal/osFilePath.h>

#include <set>
#include <string>

namespace Qv {

/// An init file in memory, and what all init files have in common. docs/settings.md describes where
/// they are and how they are written.
///
/// Threads: the setter is for the application's start, before the packages'; the rest any.
class QV_RESMGT_API InInitFile {
public:
    /// Whether a file that isn't there is an error.
    enum Presence { MAY_BE_MISSING, MUST_BE_THERE };

    /// Reads the file; one that may be missing and does, or an empty path, gives an empty one.
    ///
    /// Errors: those of InTextFile::readNameValuePair.
    explicit InInitFile( const OsFilePath& path, Presence presence = MAY_BE_MISSING );

    const OsFilePath& getPath() const noexcept { return _path; }
    /// Null when the file doesn't have `name`. Lives as long as this object.
    const char* getValue( const char* name ) const;
    /// By alphabet.
    std::set<std::string> getNames() const;

    /// "@ombra.ini".
    static OsFilePath getInitFileBaseName();
    /// In the user's documents: "ombra", and in it the release of the application.
    ///
    /// Errors: OsFileEx::ExHomeNotDefined.
    static OsFilePath getDefaultUserInitFileDir();
    /// The environment variable QV_USER_INIT_FILE, the empty text too, which means that there is
    /// none; else the variable ombra::deployment::userInitFile; else the base name in the default
    /// directory. What somebody typed as the argument "init:" leads where the system leads by it.
    ///
    /// Errors: those of OsTypedPath::resolve for the argument; OsFileEx::ExHomeNotDefined in the
    ///         last case.
    static OsFilePath getUserInitFilePath();
    /// MUST_BE_THERE where the argument "init:" gives that path, since a file that is named for
    /// this one run is meant. The environment may name one that is written later.
    static Presence getUserInitFilePresence();
    /// Whether `getUserInitFilePath` passes over the environment, both directly and through the
    /// variable. Not at first.
    static void setIgnoresEnvironment( bool ignores ) noexcept;

private:
    OsFilePath _path;
    HashMap<std::string, std::string> _values;
};

} // namespace Qv
