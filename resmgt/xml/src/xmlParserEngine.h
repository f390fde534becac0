#pragma once

#include <resmgt/xml/src/xmlByteSets.h>
#include <resmgt/xml/src/xmlDecoder.h>
#include <resmgt/xml/src/xmlParserSources.h>
#include <resmgt/xml/src/xmlParserStates.h>
#include <resmgt/xml/src/xmlPositionSource.h>
#include <resmgt/xml/src/xmlReusedString.h>
#include <resmgt/xml/src/xmlStrictChecks.h>
#include <resmgt/xml/xmlParserProtocol.h>
#include <resmgt/xml/xmlReadOptions.h>

#include <optional>
#include <string>
#include <string_view>

namespace Qv {

/// One parse: the states and what they share.
///
/// Input:  comes in blocks. The cursor is at the next byte; the end of the input reads as a NUL, as
///         a NUL in the document does, which is never passed.
/// Tokens: a token that lies within a block is taken where it lies, one that crosses blocks is put
///         together in `_held`. Either stays until the next token, or until a byte behind it is
///         asked for that may be in the next block: see `hold`.
/// Places: line feeds are counted as they are passed, so that `_line` is the cursor's.
template <class Source>
class XmlParserEngine final : public XmlPositionSource {
public:
    using State = XmlParserState<XmlParserEngine>;

    /// The protocol must outlive it.
    XmlParserEngine( XmlParserProtocol& protocol, const XmlReadOptions& options, Source source );

    /// Once. Raises what is wrong.
    void run();

    XmlPosition getPosition() const override { return findPlace( _eventOffset ); }

    // For the states:

    /// The byte at the cursor.
    char peek() { return _cursor != _end ? *_cursor : peekBehindBlock(); }
    /// REQUIRES: the byte at the cursor has been seen, and is neither NUL nor a line feed.
    void pass() { ++_cursor; }
    /// Returns the byte behind it.
    char passWhiteSpace();
    /// Up to a byte of the set. Nothing is kept.
    template <class Set>
    void passTo();
    /// The same as a token.
    template <class Set>
    std::string_view collect();
    /// Keeps the token when the byte behind the cursor is asked for.
    /// REQUIRES: no other token was collected meanwhile, and the cursor is at a byte.
    std::string_view hold( std::string_view token );
    /// From behind "<!". Goes on in `next`.
    State* passComment( State& next );
    /// True if "/>" ends the name, of which the cursor is at the ">" then.
    bool takeElementName();
    /// Takes an attribute that has nothing rare in it and lies in the block as a whole, `nbBlanks`
    /// bytes behind the cursor, which are passed. False if it isn't such a one: nothing is taken
    /// then.
    bool takePlainAttribute( int nbBlanks );
    /// The same behind a blank.
    bool takeNextPlainAttribute();
    void takeAttributeName( std::string_view token ) { _currentName = &_name.assign( token ); }

    bool isStrict() const noexcept { return _checks.has_value(); }
    XmlStrictChecks& getChecks() noexcept { return *_checks; }
    /// The place of the cursor.
    unsigned long long getOffset() const noexcept { return offsetOf( _cursor ); }
    /// False after a fault in the token that was collected last.
    bool accepts( const XmlFault& fault, std::string_view token );

    /// These report what was taken. `false` means that the next state is `getError`.
    bool beginElement();
    void endEmptyElement();
    void endStartTag();
    bool closeElement( std::string_view name );
    void pushAttribute( std::string_view value );
    void pushText( std::string_view text );

    /// False once the protocol has had enough.
    bool goesOn() { return _goesOn = _goesOn && _protocol.keepParsing(); }

    /// The state at the end of the input.
    State* finish();
    /// At the cursor; `message` is kept.
    State* fail( const char* message );
    State* getError() noexcept { return &_error; }
    [[noreturn]] void raise( const char* message, const XmlPosition& place ) const;

    XmlParserStates::InitialState<XmlParserEngine> _initial;
    XmlParserStates::DeclarationState<XmlParserEngine> _declaration;
    XmlParserStates::DoctypeState<XmlParserEngine> _doctype;
    XmlParserStates::InElementState<XmlParserEngine> _inElement;
    XmlParserStates::ClosingElementState<XmlParserEngine> _closingElement;
    XmlParserStates::InAttributeState<XmlParserEngine> _inAttribute;
    XmlParserStates::AttributeNameState<XmlParserEngine> _attributeName;
    XmlParserStates::AttributeValueState<XmlParserEngine> _attributeValue;
    XmlParserStates::DataState<XmlParserEngine> _data;
    XmlParserStates::EscapingDataState<XmlParserEngine> _escapingData;
    XmlParserStates::FinalState<XmlParserEngine> _final;
    XmlParserStates::ErrorState<XmlParserEngine> _error;

private:
    char peekBehindBlock();
    bool refill();
    std::string_view getNextBlock();
    std::string_view getNextPiece();

    void countLine( const char* lineFeed );
    unsigned long long offsetOf( const char* place ) const noexcept {
        return _passed + static_cast<unsigned long long>( place - _begin );
    }
    /// REQUIRES: it isn't before the line that precedes the cursor's.
    XmlPosition findPlace( unsigned long long offset ) const noexcept;
    /// Of a byte in the token that was collected last.
    XmlPosition findPlaceIn( std::string_view token, std::size_t index ) const noexcept;
    template <class Set>
    std::string_view collectLong();
    /// The token ends at the cursor, so far.
    std::string_view finishToken( std::string_view token );
    [[noreturn]] void raiseLimit( const char* what, unsigned long long limit,
                                  const XmlPosition& place ) const;
    const std::string& resolve( std::string_view text );
    bool acceptsPlainAttribute( std::string_view name, std::string_view value );
    void countElement();
    void uncountElement() { _depth -= _depth != 0 ? 1 : 0; }

    XmlParserProtocol& _protocol;
    const XmlReadOptions _options;
    Source _source;
    std::optional<XmlStrictChecks> _checks;
    bool _goesOn = true;

    // The block. The cursor, which alone is written all the time, has no pointer beside it:
    // compilers read two at once, and processors wait where half of what they read was written just
    // before.
    const char* _begin = nullptr;
    const char* _end = nullptr;
    /// Bytes before the block.
    unsigned long long _passed = 0;
    bool _isAtEnd = false;
    const char* _cursor = nullptr;
    bool _hasReference = false;

    // What blocks are made of.
    std::optional<XmlDecoder> _decoder;
    std::string_view _piece;
    unsigned long long _bytesLeft;
    /// What is wrong behind the block.
    std::string _fault;

    int _line = 1;
    unsigned long long _lineStart = 0;
    /// Of the line before.
    unsigned long long _formerLineStart = 0;

    // The token.
    /// `_hasReference` is its too.
    std::string _held;
    unsigned long long _tokenEnd = 0;
    /// Of the line that the token begins in.
    unsigned long long _tokenLineStart = 0;

    XmlReusedString _name;
    XmlReusedString _value;
    const std::string* _currentName = nullptr;
    unsigned long long _eventOffset = 0;
    unsigned long long _depth = 0;
    unsigned long long _nbElements = 0;
};

using XmlFileParserEngine = XmlParserEngine<XmlFileSource>;
using XmlStringParserEngine = XmlParserEngine<XmlStringSource>;

extern template class XmlParserEngine<XmlFileSource>;
extern template class XmlParserEngine<XmlStringSource>;

} // namespace Qv
