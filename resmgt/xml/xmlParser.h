#pragma once

#include <resmgt/resmgtApi.h>
#include <resmgt/xml/xmlReadOptions.h>

#include <string>

namespace Qv {

class OsFileReader;
class XmlParserProtocol;

/// Reads documents of any size, written in a subset of XML, and reports what it finds as events.
///
/// Subset:   docs/xml.md has the grammar. No entities but the five predefined ones, no CDATA, no
/// text
///           beside child elements, no blank behind the "=" of an attribute, no ">" in its value.
/// Leniency: without `XmlReadOptions::strict` it isn't noticed when tags don't match or are missing
/// at
///           the end, when there are several roots, or when text stands behind an end tag, which is
///           dropped. Names pass as they come. A name and a blank before "=" or ">" are one name.
/// Bytes:    pass unchanged. A numeric reference becomes one byte, the low 8 bits of its number. A
/// NUL
///           ends the document. White space is blank, tab, carriage return and line feed.
/// Dropped:  declarations, document types, comments, white space before a text.
/// Safety:   it opens, fetches and expands nothing, and doesn't recurse.
/// Threads:  a parse belongs to one.
/// Errors:   XmlEx::ExSyntaxError with the place; what the reader and the protocol raise passes
///           through. The protocol keeps what it has received.
/// Cost:     linear in the document's bytes. Memory for a buffer and the longest token.
class QV_RESMGT_API XmlParser {
public:
    /// Reads from where `reader` stands. The protocol may use the reader meanwhile: the parser goes
    /// back to its own place. What can't seek, such as a pipe, is read as it comes. Where the
    /// reader stands afterwards isn't specified.
    static void parse( XmlParserProtocol& protocol, OsFileReader& reader );
    static void parse( XmlParserProtocol& protocol, OsFileReader& reader,
                       const XmlReadOptions& options );
    /// In messages the document is called "<internal string>". `text` must not change meanwhile.
    static void parse( XmlParserProtocol& protocol, const std::string& text );
    static void parse( XmlParserProtocol& protocol, const std::string& text,
                       const XmlReadOptions& options );
};

} // namespace Qv
