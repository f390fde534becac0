#include <resmgt/xml/xmlEx.h>

namespace Qv {

namespace {

std::string syntaxReason( const std::string& message, int line, const std::string& document ) {
    return "Syntax error (\"" + message + "\") around line " + std::to_string( line ) + " in " +
           document + ".";
}

} // namespace

XmlEx::XmlEx( const char* file, int line )
    : XmlEx( file, line, "XML Parser error occurs." ) {}

XmlEx::XmlEx( const char* file, int line, const std::string& reason )
    : ExCloneable( file, line ) {
    setReason( reason.c_str() );
}

XmlEx::ExFileNotFound::ExFileNotFound( const char* file, int line, const std::string& name )
    : ExCloneable( file, line, "XML file not found: " + name ) {}

XmlEx::ExConversionError::ExConversionError( const char* file, int line )
    : ExCloneable( file, line, "Conversion error." ) {}

XmlEx::ExNonExistentAttribute::ExNonExistentAttribute( const char* file, int line )
    : ExCloneable( file, line, "Non existent attribute." ) {}

XmlEx::ExChildNotFound::ExChildNotFound( const char* file, int line )
    : ExCloneable( file, line, "The reference element is not a child of this element." ) {}

XmlEx::ExXmlVersionNotSupported::ExXmlVersionNotSupported( const char* file, int line )
    : ExCloneable( file, line, "XML version not supported." ) {}

XmlEx::ExXmlVersionNotSupported::ExXmlVersionNotSupported( const char* file, int line, int xmlLine,
                                                           const std::string& document )
    : ExCloneable( file, line,
                   "XML version not supported, line " + std::to_string( xmlLine ) + " in " +
                       document + "." ) {}

XmlEx::ExLexicalError::ExLexicalError( const char* file, int line, const std::string& text,
                                       int xmlLine )
    : ExCloneable( file, line,
                   "Lexical error around \"" + text + "\" at line " + std::to_string( xmlLine ) +
                       "." ) {}

XmlEx::ExSyntaxError::ExSyntaxError( const char* file, int line, const std::string& message,
                                     int xmlLine, const std::string& document )
    : ExSyntaxError( file, line, message, XmlPosition{ xmlLine, 0, 0 }, document ) {}

XmlEx::ExSyntaxError::ExSyntaxError( const char* file, int line, const std::string& message,
                                     const XmlPosition& position, const std::string& document )
    : ExCloneable( file, line, syntaxReason( message, position.line, document ) )
    , _details( std::make_shared<const Details>( Details{ message, position, document } ) ) {}

int XmlEx::ExSyntaxError::getLine() const noexcept {
    return _details->position.line;
}

int XmlEx::ExSyntaxError::getColumn() const noexcept {
    return _details->position.column;
}

unsigned long long XmlEx::ExSyntaxError::getOffset() const noexcept {
    return _details->position.offset;
}

const std::string& XmlEx::ExSyntaxError::getMessage() const noexcept {
    return _details->message;
}

const std::string& XmlEx::ExSyntaxError::getDocument() const noexcept {
    return _details->document;
}

} // namespace Qv
