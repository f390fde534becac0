#pragma once

#include <resmgt/xml/xmlParserProtocol.h>
#include <resmgt/xml/xmlReadOptions.h>

#include <cstddef>
#include <iosfwd>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace Qv {

/// Writes down its events, one after the other, each with its line:
///
///     (a:1   begin of a        /:1   empty element end   >:1    start tag end
///     )a:1   closing of a      b=c:1 attribute           'd':1  text
class XmlRecorder : public XmlParserProtocol {
public:
    static constexpr std::size_t ALL = std::numeric_limits<std::size_t>::max();

    /// Stops the parse after `nbWanted` events.
    explicit XmlRecorder( std::size_t nbWanted = ALL )
        : _nbWanted( nbWanted ) {}

    void notifyBeginElement( const std::string& name, int line ) override {
        add( "(" + name, line );
    }
    void notifyEmptyElementEnd( int line ) override { add( "/", line ); }
    void notifyStartTagEnd( int line ) override { add( ">", line ); }
    void notifyClosingElement( const std::string& name, int line ) override {
        add( ")" + name, line );
    }
    void pushAttribute( const std::string& name, const std::string& value, int line ) override {
        add( name + "=" + value, line );
    }
    void notifyTextData( const std::string& text, int line ) override {
        add( "'" + text + "'", line );
    }
    bool keepParsing() const override { return events.size() < _nbWanted; }

    std::vector<std::string> events;

protected:
    /// `add` is called for each event.
    virtual void add( const std::string& event, int line ) {
        events.push_back( event + ":" + std::to_string( line ) );
    }

private:
    const std::size_t _nbWanted;
};

/// What became of a parse.
struct XmlOutcome {
    std::string events;
    /// Empty after a success.
    std::string message;
    int line = 0;
    int column = 0;
    unsigned long long offset = 0;

    bool operator==( const XmlOutcome& ) const = default;
};

std::ostream& operator<<( std::ostream& out, const XmlOutcome& outcome );

XmlOutcome parseText( const std::string& text, const XmlReadOptions& options = {} );
/// The same from blocks of `size` bytes, each in memory of its own that ends with it.
XmlOutcome parsePieces( const std::string& text, std::size_t size,
                        const XmlReadOptions& options = {} );
/// From a file, with refills of `bufferSize` bytes.
XmlOutcome parseFile( const std::string& path, std::size_t bufferSize,
                      const XmlReadOptions& options = {} );
void writeFile( const std::string& path, const std::string& text );
std::string utf16( std::u16string_view text, bool isBig );

} // namespace Qv
