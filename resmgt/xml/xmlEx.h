#pragma once

#include <base/failure/exBase.h>
#include <resmgt/resmgtApi.h>

#include <memory>
#include <string>

namespace Qv {

/// The family of the errors of XML documents. One of this class itself is a failure without detail.
class QV_RESMGT_API XmlEx : public ExCloneable<XmlEx, ExBase> {
public:
    class ExFileNotFound;
    class ExConversionError;
    class ExNonExistentAttribute;
    class ExChildNotFound;
    class ExXmlVersionNotSupported;
    class ExLexicalError;
    class ExSyntaxError;
    class ExLimitExceeded;

    XmlEx( const char* file, int line );

protected:
    XmlEx( const char* file, int line, const std::string& reason );
};

/// The file of a document isn't there.
class QV_RESMGT_API XmlEx::ExFileNotFound : public ExCloneable<XmlEx::ExFileNotFound, XmlEx> {
public:
    ExFileNotFound( const char* file, int line, const std::string& name );
};

/// A text isn't what it should be converted to.
class QV_RESMGT_API XmlEx::ExConversionError : public ExCloneable<XmlEx::ExConversionError, XmlEx> {
public:
    ExConversionError( const char* file, int line );
};

/// The element has no such attribute.
class QV_RESMGT_API XmlEx::ExNonExistentAttribute
    : public ExCloneable<XmlEx::ExNonExistentAttribute, XmlEx> {
public:
    ExNonExistentAttribute( const char* file, int line );
};

/// The element has no such child.
class QV_RESMGT_API XmlEx::ExChildNotFound : public ExCloneable<XmlEx::ExChildNotFound, XmlEx> {
public:
    ExChildNotFound( const char* file, int line );
};

/// The document is of a version of XML that isn't read.
class QV_RESMGT_API XmlEx::ExXmlVersionNotSupported
    : public ExCloneable<XmlEx::ExXmlVersionNotSupported, XmlEx> {
public:
    ExXmlVersionNotSupported( const char* file, int line );
    /// `xmlLine` and `document` say where the version stands.
    ExXmlVersionNotSupported( const char* file, int line, int xmlLine,
                              const std::string& document );
};

/// A piece of text that has no meaning. The parser doesn't raise it.
class QV_RESMGT_API XmlEx::ExLexicalError : public ExCloneable<XmlEx::ExLexicalError, XmlEx> {
public:
    ExLexicalError( const char* file, int line, const std::string& text, int xmlLine );
};

/// A place in a document.
struct XmlPosition {
    /// From 1; 0 where unknown. It stays at the largest `int` in longer documents.
    int line = 0;
    /// In bytes, from 1; 0 where unknown. It stays at the largest `int` in longer lines.
    int column = 0;
    /// In bytes from where the parse began, of the document's text in UTF-8 where it is decoded.
    unsigned long long offset = 0;
};

/// A document breaks a rule. It stands for the byte at which this was found.
class QV_RESMGT_API XmlEx::ExSyntaxError : public ExCloneable<XmlEx::ExSyntaxError, XmlEx> {
public:
    /// The column isn't known.
    ExSyntaxError( const char* file, int line, const std::string& message, int xmlLine,
                   const std::string& document );
    ExSyntaxError( const char* file, int line, const std::string& message,
                   const XmlPosition& position, const std::string& document );

    int getLine() const noexcept;
    int getColumn() const noexcept;
    unsigned long long getOffset() const noexcept;
    /// The reason, without the place.
    const std::string& getMessage() const noexcept;
    /// The document's file, or "<internal string>".
    const std::string& getDocument() const noexcept;

private:
    struct Details {
        std::string message;
        XmlPosition position;
        std::string document;
    };

    // Shared by all copies, which therefore never throw.
    std::shared_ptr<const Details> _details;
};

/// A document is larger than XmlReadOptions allow; it may be without fault otherwise.
class QV_RESMGT_API XmlEx::ExLimitExceeded
    : public ExCloneable<XmlEx::ExLimitExceeded, XmlEx::ExSyntaxError> {
public:
    using ExCloneable::ExCloneable;
};

} // namespace Qv
