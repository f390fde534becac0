#pragma once

#include <resmgt/osal/osFileInfo.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osFileTypes.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace Qv {

/// The result of one query about a file, in numbers alone.
struct QV_RESMGT_API OsFileStatus {
    friend bool operator==( const OsFileStatus&, const OsFileStatus& ) = default;

    /// When the content last changed.
    OsDateTypes::DateRep modificationTime;
    /// In bytes.
    std::uint64_t size = 0;
    /// When the file was made.
    OsDateTypes::DateRep creationTime;
    /// The number of the owner's account.
    std::uint32_t owner = 0;
    /// What the file is.
    OsFileTypes::ElementType type = OsFileTypes::PLAIN;
};

/// Asks about files whose absence is an answer; for those who look at many files again and again.
///
/// Names:   are literal, wildcards too. Links are followed. There is no file where a name on the
///          way is missing, is no directory or too long, or where links lead nowhere or in a
///          circle.
/// Errors:  OsFileEx::ExNullFilePath for the empty path; ExSysErrorWindows for whatever else keeps
///          a question from being answered, missing rights to search a directory too.
/// Threads: an object belongs to one thread.
class QV_RESMGT_API OsFileProbe {
public:
    /// A path in the form in which it is asked about again and again.
    class QV_RESMGT_API Place {
    public:
        /// `path` outlives this object, unchanged.
        explicit Place( const OsFilePath& path );

        /// What a query reads first; for a look at it ahead of time.
        const char* getName() const noexcept { return _text + _directoryLength; }

    private:
        friend class OsFileProbe;

        const OsFilePath* _path;
        const char* _text;
        /// Of the directory in `_text`, with its separator; 0 if the name can't be asked about in
        /// it.
        std::size_t _directoryLength;
    };

    OsFileProbe() = default;
    OsFileProbe( const OsFileProbe& ) = delete;
    OsFileProbe& operator=( const OsFileProbe& ) = delete;
    ~OsFileProbe() { leaveDirectory(); }

    /// Nothing if there is no file.
    static std::optional<OsFileStatus> find( const OsFilePath& path );
    /// The same as OsFile::getInfo gives. The owner is looked up once a thread.
    static OsFileInfo makeInfo( const OsFilePath& path, const OsFileStatus& status );

    /// Whether the file is as `last` says. Where several files of one directory are asked about one
    /// after the other, that is kept open: a directory that is renamed meanwhile is still the one
    /// that is asked. False also when the question can't be answered: `find` knows more.
    ///
    /// Cost: for all but the first file of a directory that of one query of a name in it.
    bool isStill( const Place& place, const std::optional<OsFileStatus>& last );
    /// Keeps no directory open any longer.
    void leaveDirectory() noexcept;

private:
    /// Whether it is open, so that the file's name in it may be asked about.
    bool enterDirectory( const Place& place );

    std::string _directory;
    OsFileTypes::Handle _folder = OsFileTypes::INVALID_HANDLE;
    bool _canOpen = false;
};

} // namespace Qv
