#pragma once

#include <limits>

namespace Qv {

/// How a document is read. By default everything is let through that XmlParser lets through.
///
///     XmlReadOptions options;
///     options.strict = true;
///     options.maxDepth = 100;
///     XmlParser::parse( protocol, reader, options );
///
/// Limits: a document that exceeds one ends with XmlEx::ExLimitExceeded; what came before has been
///         reported. A document that just reaches it is read.
struct XmlReadOptions {
    /// No limit.
    static constexpr unsigned long long UNLIMITED = std::numeric_limits<unsigned long long>::max();

    /// Refuses what isn't well-formed by XML 1.0, with XmlEx::ExSyntaxError: a declaration or
    /// document type that is no such or stands elsewhere, names and characters that XML doesn't
    /// have, UTF-8 that is ill-formed, none or several roots, text behind an end tag, two equal
    /// attributes, end tags that match no start tag, elements left open. Character references give
    /// their character in UTF-8, not a byte. It includes `decode`, and takes memory for the names
    /// of open elements.
    bool strict = false;
    /// Takes a byte order mark, and turns UTF-16 and ISO-8859-1 into UTF-8, as mark and declaration
    /// say; any other declared encoding is refused by name with XmlEx::ExSyntaxError. Without it
    /// all bytes pass unchanged.
    bool decode = false;

    /// Elements open at once.
    unsigned long long maxDepth = UNLIMITED;
    /// Bytes of a name, an attribute's value or a text as they stand in the document. Under
    /// `strict` also of the declaration, the document type, processing instructions, and what a
    /// comment has from one "-" to the next.
    unsigned long long maxTokenSize = UNLIMITED;
    /// Elements altogether.
    unsigned long long maxElements = UNLIMITED;
    /// Bytes of the document, as they are read.
    unsigned long long maxBytes = UNLIMITED;
};

} // namespace Qv
