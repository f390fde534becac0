#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <ostream>
#include <streambuf>
#include <string>

namespace Qv {

/// Collects what is written until the next flush and hands it to the system as one line: a single
/// write, at the file's end, so that lines of processes that share a local file stay whole.
///
/// Failures: the first is reported on standard error. For a second lines are dropped and counted;
///           then the next one, or `maintain`, tries again, and writes the count first.
/// Moves:    where the file's name leads elsewhere, `maintain` opens that file, and creates it if
///           need be. The former is kept until that succeeds.
/// Stalls:   while the logger is active, when the reader alone writes, a full pipe is waited for
///           without a limit. Otherwise, as at the process's end, that fails after 5 seconds.
/// Signals:  neither SIGXFSZ nor SIGPIPE comes of a write.
/// Threads:  one at a time.
class LgFileBuffer : public std::streambuf {
public:
    enum Naming {
        /// Made by us, in a folder of ours: 0600, new or of this user, and never behind a link.
        DEFAULT_NAME,
        /// The user's: whatever it leads to is written.
        CHOSEN_NAME
    };
    /// The line, with its end, that says how many lines were lost by the system's error.
    using LossText = std::string ( * )( std::uint64_t nbLines, int error );

    /// Opens the file, and creates it; its text stays. A relative `path` is looked up in the
    /// present directory now and later. A file that can't be opened is one that isn't open. A pipe
    /// without a reader isn't waited for.
    LgFileBuffer( const std::string& path, Naming naming, LossText lossText );
    LgFileBuffer( const LgFileBuffer& ) = delete;
    LgFileBuffer& operator=( const LgFileBuffer& ) = delete;
    ~LgFileBuffer() override;

    bool isOpen() const noexcept { return _descriptor >= 0; }
    /// The error that kept the file from being opened; 0 for none.
    int getOpenError() const noexcept { return _openError; }
    /// Whether both are open and are one file, under whatever names.
    bool isSameFile( const LgFileBuffer& other ) const noexcept;
    /// A whole line with its end, or more lines: as `line` through the stream and a flush.
    void writeLine( const std::string& line ) noexcept;
    /// Takes away the text that a file has.
    void truncate() noexcept;
    /// What stands at the head of each file that is opened from now on.
    void setHeader( const std::string& header ) { _header = header; }
    /// To be called each second.
    void maintain() noexcept;
    /// The next attempt after a failure is made with the next line, for there may be no later one.
    void retryAtOnce() noexcept { _retryTime = 0.0; }
    /// Lines that files didn't take, all files together since the process began. Any thread.
    static std::uint64_t getNbFailed() noexcept {
        return _nbFailed.load( std::memory_order_relaxed );
    }

protected:
    int_type overflow( int_type character ) override;
    std::streamsize xsputn( const char* text, std::streamsize size ) override;
    int sync() override;

private:
    struct Identity {
        std::uint64_t device = 0;
        std::uint64_t number = 0;
        friend bool operator==( const Identity&, const Identity& ) = default;
    };

    int openFile( Identity& identity );
    int openDefault() const;
    int openChosen() const;
    bool isWhereNameLeads() const noexcept;
    void openAnew();
    bool write( const std::string& text ) noexcept;
    bool writePart( const char*& position, const char* end ) noexcept;
    bool waitForRoom() const noexcept;
    bool writeLoss() noexcept;
    void fail( int error ) noexcept;
    void report( int error ) const noexcept;

    const std::string _path;
    const Naming _naming;
    const LossText _lossText;
    std::string _header;
    std::string _line;
    /// There was no memory for a part of the line.
    bool _isLineCut = false;
    Identity _identity;
    int _descriptor = -1;
    int _openError = 0;
    /// No pipe, socket or device.
    bool _isRegular = false;
    /// The file ends within a line that couldn't be finished.
    bool _endsWithinLine = false;
    bool _isReported = false;
    /// The latest.
    int _lossError = 0;
    /// When the next attempt may be made, in seconds of HwCounter; 0 while all is well.
    double _retryTime = 0.0;
    /// Not yet counted in the file.
    std::uint64_t _nbLost = 0;
    // Relaxed: it orders nothing.
    static inline constinit std::atomic<std::uint64_t> _nbFailed = 0;
};

/// A log file as a stream; a flush ends a line. It is in the failed state, and takes nothing, when
/// the file can't be opened.
class LgFile final : public std::ostream {
public:
    LgFile( const std::string& path, LgFileBuffer::Naming naming, LgFileBuffer::LossText lossText )
        : std::ostream( nullptr )
        , _buffer( path, naming, lossText ) {
        // A stream without a buffer has failed already.
        if( _buffer.isOpen() ) {
            rdbuf( &_buffer );
        }
    }

    LgFileBuffer& getBuffer() noexcept { return _buffer; }
    const LgFileBuffer& getBuffer() const noexcept { return _buffer; }

private:
    LgFileBuffer _buffer;
};

} // namespace Qv
