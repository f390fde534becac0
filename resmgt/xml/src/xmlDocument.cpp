#include <resmgt/xml/xmlDocument.h>

#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <base/text/wideStringUtil.h>
#include <resmgt/osal/osFileReader.h>
#include <resmgt/osal/osFileReplacement.h>
#include <resmgt/xml/src/xmlAttributes.h>
#include <resmgt/xml/xmlDocumentBuilder.h>
#include <resmgt/xml/xmlEx.h>
#include <resmgt/xml/xmlParser.h>
#include <resmgt/xml/xmlWriter.h>

#include <filesystem>
#include <iterator>
#include <memory>
#include <ostream>
#include <sstream>
#include <streambuf>

namespace Qv {

namespace {

std::unique_ptr<OsFileReader> open( const OsFilePath& path ) {
    try {
        return std::make_unique<OsFileReader>( path, false );
    } catch( const ExSysError& ) {
        std::error_code error;
        if( std::filesystem::status( path.toString(), error ).type() ==
            std::filesystem::file_type::not_found ) {
            throw XmlEx::ExFileNotFound( QV_HERE, path.toString() );
        }
        throw;
    }
}

XmlReadOptions withDecoding( XmlReadOptions options ) {
    options.decode = true;
    return options;
}

/// The file's bytes, of which each failure is raised by the stream that writes them.
class ReplacementBuffer final : public std::streambuf {
public:
    explicit ReplacementBuffer( OsFileReplacement& file )
        : _file( file ) {}

protected:
    std::streamsize xsputn( const char* text, std::streamsize size ) override {
        _file.write( text, static_cast<unsigned long long>( size ) );
        return size;
    }
    int_type overflow( int_type c ) override {
        const char byte = traits_type::to_char_type( c );
        _file.write( &byte, 1 );
        return c;
    }

private:
    OsFileReplacement& _file;
};

} // namespace

XmlDocument::XmlDocument( const OsFilePath& path ) {
    read( path, {} );
}

XmlDocument::XmlDocument( const char* fileName )
    : XmlDocument( OsFilePath( fileName ) ) {}

XmlDocument::XmlDocument( const std::string& fileName )
    : XmlDocument( OsFilePath( fileName ) ) {}

XmlDocument::XmlDocument( const std::wstring& fileName )
    : XmlDocument( OsFilePath( fileName ) ) {}

XmlDocument::XmlDocument( const std::string& fileName, const std::string& documentType )
    : XmlDocument( fileName ) {
    if( !documentType.empty() ) {
        setDocumentType( OPtr<XmlDocumentType>( new XmlDocumentType( documentType ) ) );
    }
}

XmlDocument::XmlDocument( const std::wstring& fileName, const std::wstring& documentType )
    : XmlDocument( WideStringUtil::narrowMB( fileName ),
                   WideStringUtil::narrowMB( documentType ) ) {}

XmlDocument::XmlDocument( std::istringstream& stream ) {
    const std::string text( std::istreambuf_iterator<char>( stream ), {} );
    XmlDocumentBuilder builder( *this );
    XmlParser::parse( builder, text );
}

XmlDocument::~XmlDocument() = default;

void XmlDocument::read( const OsFilePath& path, const XmlReadOptions& options ) {
    const std::unique_ptr<OsFileReader> reader = open( path );
    XmlDocumentBuilder builder( *this );
    XmlParser::parse( builder, *reader, options );
}

void XmlDocument::load( const OsFilePath& path, const XmlReadOptions& options ) {
    XmlDocument next;
    next.read( path, withDecoding( options ) );
    swap( next );
}

void XmlDocument::loadText( const std::string& text, const XmlReadOptions& options ) {
    XmlDocument next;
    XmlDocumentBuilder builder( next );
    XmlParser::parse( builder, text, withDecoding( options ) );
    swap( next );
}

void XmlDocument::save( const OsFilePath& path, int indentation ) const {
    QV_ASSERT( !_root.isNull() );
    _root->checkNames();
    OsFileReplacement file( path );
    file.create();
    ReplacementBuffer buffer( file );
    std::ostream stream( &buffer );
    stream.exceptions( std::ios::badbit | std::ios::failbit );
    XmlWriter writer( stream, indentation );
    writer.writeDeclaration();
    streamToOutput( writer );
    stream.put( '\n' );
    file.commit();
}

RCShdPtr<XmlElement> XmlDocument::releaseRoot() {
    return std::move( _root );
}

void XmlDocument::setRoot( const RCShdPtr<XmlElement>& root ) {
    _root = root;
    _isComplete = true;
}

void XmlDocument::setDocumentType( OPtr<XmlDocumentType> type ) {
    _documentType = type;
}

void XmlDocument::streamToOutput( XmlWriter& writer ) const {
    if( !_root.isNull() ) {
        _root->streamToOutput( writer );
    }
}

std::string XmlDocument::streamToString( int indentation ) const {
    return _root.isNull() ? std::string() : XmlWriter::writeToString( *_root, indentation );
}

void XmlDocument::swap( XmlDocument& other ) noexcept {
    OPtr<XmlDocumentType> type( _documentType );
    _documentType = other._documentType;
    other._documentType = type;
    _root.swap( other._root );
    std::swap( _isComplete, other._isComplete );
}

} // namespace Qv
