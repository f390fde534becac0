#pragma once

#include <string_view>

/// What holds for all documents, well-formed or not. A promise that is broken comes out as an
/// exception. Fuzzers look for such a document, and tests try those that they make.
namespace Qv::XmlPromises {

/// Events and errors don't depend on the pieces in which the document comes.
void checkPieces( std::string_view text );

/// What is read strictly is read by expat too, and is the same.
void checkStrictly( std::string_view text );

/// What is read strictly, and written with some indentation, is read again as the same.
void checkWriting( std::string_view text );

} // namespace Qv::XmlPromises
