#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace Qv {

class OsFileReader;

/// The bytes of a file from where its reader stands.
class XmlFileSource {
public:
    /// Fits a processor's second cache beside what a protocol needs, and makes calls of the system
    /// rare.
    static constexpr std::size_t BUFFER_SIZE = 128 * 1024;

    explicit XmlFileSource( OsFileReader& reader, std::size_t bufferSize = BUFFER_SIZE );

    /// The next bytes, none at the end. They stay until the next call.
    std::string_view getNext();
    std::string getName() const;

private:
    OsFileReader& _reader;
    std::size_t _bufferSize;
    std::unique_ptr<char[]> _buffer;
    /// Where the next bytes are; none for what can't seek.
    std::optional<long long> _place;
};

/// The bytes of a text, which must outlive this object.
class XmlStringSource {
public:
    explicit XmlStringSource( std::string_view text )
        : _text( text ) {}

    /// All at once, then none.
    std::string_view getNext() { return std::exchange( _text, {} ); }
    std::string getName() const { return "<internal string>"; }

private:
    std::string_view _text;
};

} // namespace Qv
