#pragma once

#include <resmgt/resmgtApi.h>
#include <resmgt/xml/xmlReadOptions.h>

#include <string>

namespace Qv {

class OsFileReader;
class XmlParserProtocol;

/// Reads documents of any size, written in a subset of XML, and reports what it finds as events.
///
/// Subset:     docs/xml.md has the grammar. There are no entities but the five predefined ones, and
///             no CDATA sections. Texts don't stand beside child elements. Nothing stands between
///             the "=" of an attribute and its quote, and no ">" in its value. A document type ends
///             at its first ">", so that those with declarations are refused. Processing
///             instructions stand before the root alone, and count as declarations.
/// Leniency:   without `XmlReadOptions::strict` it isn't noticed when tags don't match or are
///             missing at the end, when there are several roots, or when text stands behind an end
///             tag or an empty element, which is dropped. A document may end within a start tag's
///             name: the tag isn't reported then.
/// Names:      go up to white space, ">" or "/>" in a start tag, to "=" in an attribute, to ">" in
///             an end tag, and pass as they are, blanks and all: "</a >" is an end of "a ". Only an
///             element's name that begins with "?" is refused.
/// Bytes:      pass unchanged, line ends and what isn't UTF-8 too. A NUL ends the document. White
///             space is blank, tab, carriage return and line feed.
/// References: end at ";", and never hold a blank. A number is what `strtol` reads of it, from 0 to
///             65535: one byte, with its low 8 bits, whatever stands behind the digits.
/// Dropped:    declarations, document types, comments, white space that a text begins with. A
///             comment ends at the first "-->" behind its "<!--"; "--->" has that, "<!-->" doesn't.
/// Safety:     it opens, fetches and expands nothing, and doesn't recurse.
/// Threads:    a parse belongs to one.
/// Errors:     XmlEx::ExSyntaxError for the byte at which it was found, a wrong reference for its
///             "&". What the reader and the protocol raise passes through. The protocol keeps what
///             it has received. Events and errors don't depend on the source and its pieces.
/// Cost:       linear in the document's bytes. Memory for a buffer and the longest token.
class QV_RESMGT_API XmlParser {
public:
    /// Reads from where `reader` stands. The protocol may use the reader meanwhile: the parser goes
    /// back to its own place. What can't seek, such as a pipe, is read as it comes, a full buffer
    /// or the rest at a time. Where the reader stands afterwards isn't specified. It must not be an
    /// unbuffered one: the parser's buffer isn't aligned for that.
    static void parse( XmlParserProtocol& protocol, OsFileReader& reader );
    static void parse( XmlParserProtocol& protocol, OsFileReader& reader,
                       const XmlReadOptions& options );
    /// In messages the document is called "<internal string>". `text` must not change meanwhile.
    static void parse( XmlParserProtocol& protocol, const std::string& text );
    static void parse( XmlParserProtocol& protocol, const std::string& text,
                       const XmlReadOptions& options );
};

} // namespace Qv
