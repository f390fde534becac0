#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Qv {

/// Turns the bytes of a document into UTF-8, as its byte order mark and its declaration say.
///
/// Known:  UTF-8, UTF-16 of both orders with a mark or without, ISO-8859-1. Other declared names
///         are refused, and so is a name that contradicts what the bytes are.
/// Input:  in pieces of any size. What comes out doesn't depend on them.
/// Memory: a piece's output, and the declaration.
class XmlDecoder {
public:
    /// What came out of a piece, up to a fault if there is one. `text` stays until the next call,
    /// or as long as the piece.
    struct Decoded {
        std::string_view text;
        /// Empty, or what is wrong behind `text`; then nothing more can be decoded.
        std::string fault;
    };

    /// An empty piece ends the document. UTF-8 comes out as it went in, even where it is
    /// ill-formed.
    Decoded decode( std::string_view piece );
    /// What comes now comes out without being copied.
    bool isPassing() const noexcept {
        return _form == Form::BYTES && _isDeclarationKnown && !_isLatin1;
    }

private:
    enum class Form { UNKNOWN, BYTES, UTF_16_LITTLE, UTF_16_BIG };

    bool findForm( bool isLast );
    void convert( std::string_view piece, bool isLast );
    void convertUtf16( std::string_view piece, bool isLast );
    void takeUnit( char32_t unit );
    void checkDeclaration( bool isLast );
    void checkEncoding( const std::string& name );

    Form _form = Form::UNKNOWN;
    bool _hasMark = false;
    bool _isDeclarationKnown = false;
    bool _isLatin1 = false;
    /// Bytes that don't make up a unit yet, or a document's first ones while its form isn't known.
    std::string _rest;
    /// Half of a character of UTF-16, or 0.
    char32_t _highSurrogate = 0;
    std::string _text;
    std::string _fault;
};

} // namespace Qv
