#pragma once

#include <resmgt/xml/xmlValue.h>

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace Qv {

class XmlElement;

/// Writes XML to a stream, without a tree.
///
///     XmlWriter writer( stream, 2 );
///     writer.writeDeclaration();
///     const XmlWriter::ElementGuard shot( writer, "shot" );
///     writer.writeAttrib( "frames", 240 );
///     writer.writeTag( "name", "Night & fog" );
///
/// Names:    are written as they come: one that a user may choose is held against
///           XmlNode::isName first, or it can be any markup.
/// Values:   as XmlValue describes. Of texts and attributes alike the characters & < > ' " are
///           escaped, other bytes stay as they are. XML has no NUL: one raises
///           XmlEx::ExConversionError before anything of the operation is written.
/// Layout:   each element begins on a new line, also the first one, and is indented by its depth;
///           one with children closes on its own line, one with text behind the text. An
///           indentation of 0 means no line feeds at all, one below 0 line feeds without blanks.
///           QV_XML_WRITER_INDENTATION, read by the constructor, replaces the argument: by its
///           number if that is above 0 and fits an `int`, otherwise, also if it is empty, by 3.
/// Errors:   of the stream are seen there: its state, or what it is set to raise. Misuse is an
///           assertion.
/// Threads:  one at a time.
/// Cost:     a call of the stream for each operation; for a whole tree, one for each 64 KiB.
class QV_RESMGT_API XmlWriter {
public:
    class ElementGuard;

    /// Blanks for each level. The stream must outlive this object.
    XmlWriter( std::ostream& stream, int indentation );
    XmlWriter( const XmlWriter& ) = delete;
    XmlWriter& operator=( const XmlWriter& ) = delete;
    /// Doesn't close elements.
    virtual ~XmlWriter();

    /// Written once, however often it is called, and never if it isn't.
    void writeDeclaration();
    /// Begins a start tag.
    void openTag( std::string_view name );
    /// REQUIRES: an open element, as is asserted.
    void closeTag();
    /// REQUIRES: nothing but attributes was written since the last `openTag`, as is asserted.
    void writeAttrib( std::string_view name, const XmlValue& value );
    /// Writes the value as text.
    void writeData( const XmlValue& value );
    /// An element that holds the value alone.
    void writeTag( std::string_view name, const XmlValue& value );
    /// Copies `xml` as it is, behind the end of a start tag that is open.
    void insertXml( const std::string& xml );
    /// Writes the element with all below it as the next child. After an error what comes before is
    /// written, and elements stay open.
    void insertXml( const XmlElement& element );
    /// The same under another name.
    void insertXml( const std::string& name, const XmlElement& element );

private:
    friend class XmlElement;
    friend class XmlDocument;
    class Bulk;
    class Piece;

    XmlWriter( std::ostream* stream, std::string* text, int indentation );
    static std::string writeToString( const XmlElement& element, int indentation );

    /// REQUIRES: as of XmlElement's own attributes, at a start tag that is open.
    void writeSlackAttrib( std::string_view name, std::string_view value );
    void beginLine( Piece& piece, int depth );
    void endStartTag( Piece& piece ) const;
    void endTag( Piece& piece );
    void commit( const Piece& piece );
    void flush();

    /// The target of the text: one of the two is null.
    std::ostream* const _stream;
    std::string* const _text;
    int _depth = 0;
    int _indentation = 0;
    /// The open element has text.
    bool _hasData = false;
    /// A start tag lacks its ">".
    bool _tagOpen = false;
    bool _declarationPending = true;
    bool _indenting = false;
    /// A call of the stream for so many bytes.
    std::size_t _flushSize = 0;
    /// The names of the open elements in a row, and where each begins.
    std::string _names;
    std::vector<std::size_t> _nameStarts;
    /// Its first `_nbPending` bytes wait for the stream; the rest is room.
    std::string _pending;
    std::size_t _nbPending = 0;
};

/// An element that is open until scope exit.
class QV_RESMGT_API XmlWriter::ElementGuard {
public:
    ElementGuard( XmlWriter& writer, const std::string& tag );
    ElementGuard( const ElementGuard& ) = delete;
    ElementGuard& operator=( const ElementGuard& ) = delete;
    /// A failure is traced.
    ~ElementGuard();

private:
    XmlWriter& _writer;
};

} // namespace Qv
