#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Qv {

/// Reads a text file by lines, with the limits and errors of InTextFile.
class InTextLineReader {
public:
    /// `file` is kept, for messages.
    explicit InTextLineReader( const char* file );
    InTextLineReader( const InTextLineReader& ) = delete;
    InTextLineReader& operator=( const InTextLineReader& ) = delete;

    /// Whether there is a further line, which is without its line feed then, and valid until the
    /// next one is read. The first one's byte order mark isn't part of it.
    bool read( std::string_view& line );
    /// Of the line that was read last.
    int getNumber() const noexcept { return _number; }
    const char* getFile() const noexcept { return _file; }
    /// Empty when the first line has none.
    std::string_view getByteOrderMark() const noexcept { return _byteOrderMark; }
    /// Of the whole file, in bytes.
    std::size_t getSize() const noexcept { return _text.size(); }

private:
    const char* const _file;
    std::string _text;
    /// What of it hasn't been handed out.
    std::string_view _rest;
    int _number = 0;
    std::string_view _byteOrderMark;
};

/// Makes pairs of name and value of a text file's lines, as InTextFile describes it.
///
///     InTextLineReader lines( file );
///     InTextPairParser parser( lines );
///     for( std::string_view line; lines.read( line ); ) {
///         if( parser.take( line ) ) {
///             use( parser.getName(), parser.getValue() );
///         }
///     }
///     parser.finish();
class InTextPairParser {
public:
    /// The lines come from `source`, which is named in messages.
    explicit InTextPairParser( const InTextLineReader& source ) noexcept
        : _source( source ) {}

    /// Whether a pair is complete with this line.
    bool take( std::string_view line );
    /// Behind the last line.
    void finish() const;

    /// Valid as long as the line is, and until the next one is taken.
    std::string_view getName() const noexcept { return _name; }
    /// Without white space at its ends; a comment behind it isn't cut off.
    std::string_view getValue() const noexcept { return _value; }
    /// Whether the next line continues the ones before.
    bool isContinued() const noexcept { return _isContinued; }

private:
    void append( std::string_view line );
    void awaitMore( std::string_view text );
    void split( std::string_view text );

    const InTextLineReader& _source;
    /// Lines that continue each other.
    std::string _text;
    bool _isContinued = false;
    std::string_view _name;
    std::string_view _value;
};

/// The value without the comment behind it.
std::string_view stripComment( std::string_view value ) noexcept;
/// Whether a name may hold these characters; the empty text isn't one.
bool isName( std::string_view text ) noexcept;

} // namespace Qv
