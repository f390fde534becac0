#pragma once

#include <base/ownership/oPtr.h>
#include <base/ownership/rcShdPtr.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/xml/xmlDocumentType.h>
#include <resmgt/xml/xmlElement.h>
#include <resmgt/xml/xmlReadOptions.h>

#include <iosfwd>
#include <string>

namespace Qv {

/// A document: a root element, and perhaps a type.
///
///     XmlDocument document;
///     document.load( "shots.xml", { .strict = true, .maxDepth = 100 } );
///     document.getRoot()->setAttribute( "checked", true );
///     document.save( "shots.xml" );
///
/// Reading: by XmlParser and XmlDocumentBuilder. Without a root, as of an empty file, `getRoot` is
///          null.
/// Errors:  of reading: XmlEx::ExFileNotFound for a file that doesn't exist, what OsFileReader
///          raises, XmlEx::ExSyntaxError with the place.
/// Threads: as of XmlElement.
class QV_RESMGT_API XmlDocument {
public:
    XmlDocument() noexcept = default;
    /// Read what is there, lenient and with all bytes as they are.
    explicit XmlDocument( const OsFilePath& path );
    explicit XmlDocument( const char* fileName );
    explicit XmlDocument( const std::string& fileName );
    explicit XmlDocument( const std::wstring& fileName );
    /// The name of the document's type, which the parser drops; empty for none.
    XmlDocument( const std::string& fileName, const std::string& documentType );
    XmlDocument( const std::wstring& fileName, const std::wstring& documentType );
    /// Reads the rest of the stream.
    explicit XmlDocument( std::istringstream& stream );
    XmlDocument( const XmlDocument& ) = delete;
    XmlDocument& operator=( const XmlDocument& ) = delete;
    ~XmlDocument();

    /// Replaces all of the document by what is in the file, always with XmlReadOptions::decode.
    /// After an error the document is as it was.
    void load( const OsFilePath& path, const XmlReadOptions& options = {} );
    /// The same of a document that is in memory.
    void loadText( const std::string& text, const XmlReadOptions& options = {} );
    /// Writes the declaration and all elements. The file is written aside, synced and renamed, with
    /// its owner and mode, as OsFileReplacement describes.
    ///
    /// Errors: XmlEx::ExLexicalError with the text and the element's line for a name of an element
    ///         or attribute that isn't one by XmlNode::isName; XmlEx::ExConversionError for a NUL;
    ///         what OsFileReplacement raises. After each the file is as it was, unless only the
    ///         folder couldn't be synced. Without a root, an assertion.
    void save( const OsFilePath& path, int indentation = DEFAULT_INDENTATION ) const;

    RCShdPtr<XmlElement> getRoot() const { return _root; }
    /// The root, which the document has no longer.
    RCShdPtr<XmlElement> releaseRoot();
    void setRoot( const RCShdPtr<XmlElement>& root );
    /// Null without one.
    const XmlDocumentType* getDocumentType() const noexcept { return _documentType.get(); }
    void setDocumentType( OPtr<XmlDocumentType> type );
    /// False while a document is being built, and afterwards where it ended with elements open.
    bool isComplete() const noexcept { return _isComplete; }

    /// The root with all below it, without declaration and type. Nothing without a root.
    void streamToOutput( XmlWriter& writer ) const;
    /// The document's text.
    std::string streamToString( int indentation ) const;

private:
    friend class XmlDocumentBuilder;

    static constexpr int DEFAULT_INDENTATION = 2;

    void read( const OsFilePath& path, const XmlReadOptions& options );
    void swap( XmlDocument& other ) noexcept;

    OPtr<XmlDocumentType> _documentType;
    RCShdPtr<XmlElement> _root;
    bool _isComplete = true;
};

} // namespace Qv
