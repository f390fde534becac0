#include <resmgt/xml/xmlWriter.h>

#include <base/failure/assertions.h>
#include <base/trace/trace.h>
#include <resmgt/literals/liEx.h>
#include <resmgt/literals/liStringUtil.h>
#include <resmgt/osal/osEnv.h>
#include <resmgt/xml/src/xmlCopy.h>
#include <resmgt/xml/src/xmlEscape.h>
#include <resmgt/xml/src/xmlWriterBulk.h>
#include <resmgt/xml/xmlElement.h>
#include <resmgt/xml/xmlEx.h>

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <utility>

namespace Qv {

namespace {

constexpr const char* INDENTATION_VARIABLE = "QV_XML_WRITER_INDENTATION";
constexpr int DEFAULT_INDENTATION = 3;

/// As the variable asks for.
int readIndentation( const std::string& text ) {
    try {
        const int indentation = LiStringUtil::convertToInt( text );
        return indentation > 0 ? indentation : DEFAULT_INDENTATION;
    } catch( const LiEx::ExConversionError& ) {
        return DEFAULT_INDENTATION;
    }
}

} // namespace

/// Text that is being added behind what is pending, and isn't part of it until it is committed: an
/// operation that fails has written nothing.
class XmlWriter::Piece {
public:
    explicit Piece( XmlWriter& writer )
        : _buffer( &writer._pending )
        , _end( writer._nbPending ) {}

    std::size_t getEnd() const noexcept { return _end; }

    void put( char c ) { *claim( 1 ) = c; }
    void put( std::string_view text ) { XmlCopy::copy( claim( text.size() ), text ); }
    void putBlanks( std::size_t count ) { std::memset( claim( count ), ' ', count ); }
    void putEscaped( std::string_view text );
    void putAttribute( std::string_view name, std::string_view value );
    /// The same; XmlCopy::SLACK bytes can be read behind the value, and the name before it.
    void putSlackAttribute( std::string_view name, std::string_view value );

private:
    char* claim( std::size_t size ) {
        const std::size_t begin = _end;
        if( _buffer->size() - begin < size ) {
            constexpr std::size_t LEAST = 256;
            _buffer->resize( std::max( { 2 * _buffer->size(), begin + size, LEAST } ) );
        }
        _end += size;
        return _buffer->data() + begin;
    }

    std::string* _buffer;
    std::size_t _end;
};

void XmlWriter::Piece::putEscaped( std::string_view text ) {
    const char* rest = text.data();
    const char* const end = rest + text.size();
    while( true ) {
        const char* const found = findXmlByte<XmlEscape::Unwritable>( rest, end );
        put( std::string_view( rest, found ) );
        if( found == end ) {
            return;
        }
        if( *found == '\0' ) {
            throw XmlEx::ExConversionError( QV_HERE );
        }
        put( XmlEscape::getEntity( *found ) );
        rest = found + 1;
    }
}

void XmlWriter::Piece::putAttribute( std::string_view name, std::string_view value ) {
    put( ' ' );
    put( name );
    put( "=\"" );
    putEscaped( value );
    put( '"' );
}

void XmlWriter::Piece::putSlackAttribute( std::string_view name, std::string_view value ) {
    constexpr std::size_t AROUND = 4;
    const std::size_t size = name.size() + value.size() + AROUND;
    char* out = claim( size + XmlCopy::SLACK );
    const std::size_t begin = _end - size - XmlCopy::SLACK;
    *out++ = ' ';
    out = XmlCopy::copySlack( out, name );
    *out++ = '=';
    *out++ = '"';
    for( std::size_t done = 0; done < value.size(); done += XmlBytes::SIZE ) {
        const std::size_t rest = value.size() - done;
        const unsigned int mine = rest < XmlBytes::SIZE ? ( 1U << rest ) - 1 : ~0U;
        const char* const text = value.data() + done;
        if( ( XmlEscape::Unwritable::candidates( XmlBytes::load( text ) ) & mine ) != 0 ) {
            _end = begin;
            putAttribute( name, value );
            return;
        }
        std::memcpy( out + done, text, XmlBytes::SIZE );
    }
    out[value.size()] = '"';
    _end = begin + size;
}

XmlWriter::Bulk::Bulk( XmlWriter& writer )
    : _writer( writer )
    , _formerSize( writer._flushSize ) {
    _writer._flushSize = std::max( _formerSize, SIZE );
}

XmlWriter::Bulk::~Bulk() {
    _writer._flushSize = _formerSize;
    try {
        flush();
    } catch( ... ) {
        Trace::printCurrentException( "XmlWriter::Bulk::~Bulk", QV_HERE );
    }
}

void XmlWriter::Bulk::flush() {
    if( _formerSize == 0 && _writer._nbPending > 0 ) {
        _writer.flush();
    }
}

XmlWriter::XmlWriter( std::ostream& stream, int indentation )
    : XmlWriter( &stream, nullptr, indentation ) {}

XmlWriter::XmlWriter( std::ostream* stream, std::string* text, int indentation )
    : _stream( stream )
    , _text( text )
    , _indentation( indentation )
    , _indenting( indentation != 0 ) {
    std::string variable;
    if( OsEnv::getVariable( variable, INDENTATION_VARIABLE ) ) {
        _indentation = readIndentation( variable );
        _indenting = true;
    }
}

XmlWriter::~XmlWriter() = default;

std::string XmlWriter::writeToString( const XmlElement& element, int indentation ) {
    std::string text;
    XmlWriter writer( nullptr, &text, indentation );
    // Less only where characters are escaped.
    text.reserve( element.estimateText( writer._indenting, writer._indentation ) );
    writer.insertXml( element );
    return text;
}

void XmlWriter::writeDeclaration() {
    if( _declarationPending ) {
        Piece piece( *this );
        piece.put( R"(<?xml version="1.0" encoding="UTF-8"?>)" );
        _declarationPending = false;
        commit( piece );
    }
}

void XmlWriter::openTag( std::string_view name ) {
    Piece piece( *this );
    endStartTag( piece );
    beginLine( piece, _depth );
    piece.put( '<' );
    piece.put( name );
    _nameStarts.push_back( _names.size() );
    try {
        _names.append( name );
    } catch( ... ) {
        _nameStarts.pop_back();
        throw;
    }
    ++_depth;
    _tagOpen = true;
    _hasData = false;
    commit( piece );
}

void XmlWriter::closeTag() {
    QV_ASSERT( _depth > 0 );
    Piece piece( *this );
    endTag( piece );
    commit( piece );
}

void XmlWriter::writeAttrib( std::string_view name, const XmlValue& value ) {
    QV_ASSERT( _tagOpen );
    Piece piece( *this );
    piece.putAttribute( name, value.getText() );
    commit( piece );
}

void XmlWriter::writeSlackAttrib( std::string_view name, std::string_view value ) {
    Piece piece( *this );
    piece.putSlackAttribute( name, value );
    commit( piece );
}

void XmlWriter::writeData( const XmlValue& value ) {
    Piece piece( *this );
    endStartTag( piece );
    piece.putEscaped( value.getText() );
    _hasData = true;
    _tagOpen = false;
    commit( piece );
}

void XmlWriter::writeTag( std::string_view name, const XmlValue& value ) {
    // A value that can't be written leaves no start tag behind, nor indentation, of which much goes
    // to the stream at once.
    if( value.getText().find( '\0' ) != std::string_view::npos ) {
        throw XmlEx::ExConversionError( QV_HERE );
    }
    Piece piece( *this );
    endStartTag( piece );
    beginLine( piece, _depth );
    piece.put( '<' );
    piece.put( name );
    piece.put( '>' );
    piece.putEscaped( value.getText() );
    piece.put( "</" );
    piece.put( name );
    piece.put( '>' );
    _tagOpen = false;
    _hasData = false;
    commit( piece );
}

void XmlWriter::insertXml( const std::string& xml ) {
    Piece piece( *this );
    endStartTag( piece );
    piece.put( xml );
    _tagOpen = false;
    commit( piece );
}

void XmlWriter::insertXml( const XmlElement& element ) {
    element.streamToOutput( *this );
}

void XmlWriter::insertXml( const std::string& name, const XmlElement& element ) {
    element.streamAs( name, *this );
}

/// Blanks may be more than there is memory for: they go to the stream in parts, behind all else.
void XmlWriter::beginLine( Piece& piece, int depth ) {
    if( !_indenting ) {
        return;
    }
    piece.put( '\n' );
    std::int64_t nbBlanks = std::int64_t{ depth } * _indentation;
    constexpr std::int64_t PART = 1 << 16;
    while( nbBlanks > PART ) {
        piece.putBlanks( static_cast<std::size_t>( PART ) );
        nbBlanks -= PART;
        _nbPending = piece.getEnd();
        flush();
        piece = Piece( *this );
    }
    if( nbBlanks > 0 ) {
        piece.putBlanks( static_cast<std::size_t>( nbBlanks ) );
    }
}

void XmlWriter::endStartTag( Piece& piece ) const {
    if( _tagOpen ) {
        piece.put( '>' );
    }
}

void XmlWriter::endTag( Piece& piece ) {
    if( _tagOpen ) {
        piece.put( "/>" );
    } else {
        if( !_hasData ) {
            beginLine( piece, _depth - 1 );
        }
        piece.put( "</" );
        piece.put( std::string_view( _names ).substr( _nameStarts.back() ) );
        piece.put( '>' );
    }
    _names.resize( _nameStarts.back() );
    _nameStarts.pop_back();
    --_depth;
    _tagOpen = false;
    _hasData = false;
}

void XmlWriter::commit( const Piece& piece ) {
    _nbPending = piece.getEnd();
    if( _nbPending > _flushSize ) {
        flush();
    }
}

/// What the stream doesn't take is its affair: it is never offered again.
void XmlWriter::flush() {
    const std::size_t size = std::exchange( _nbPending, 0 );
    if( _stream != nullptr ) {
        _stream->write( _pending.data(), static_cast<std::streamsize>( size ) );
    } else {
        _text->append( _pending, 0, size );
    }
}

XmlWriter::ElementGuard::ElementGuard( XmlWriter& writer, const std::string& tag )
    : _writer( writer ) {
    _writer.openTag( tag );
}

XmlWriter::ElementGuard::~ElementGuard() {
    try {
        _writer.closeTag();
    } catch( ... ) {
        Trace::printCurrentException( "XmlWriter::ElementGuard::~ElementGuard", QV_HERE );
    }
}

} // namespace Qv
