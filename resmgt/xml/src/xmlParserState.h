#pragma once

namespace Qv {

/// One of the situations that a parse can be in.
template <class Engine>
class XmlParserState {
public:
    enum class Kind { GOES_ON, END };

    explicit XmlParserState( Kind kind = Kind::GOES_ON )
        : _isEnd( kind == Kind::END ) {}
    XmlParserState( const XmlParserState& ) = delete;
    XmlParserState& operator=( const XmlParserState& ) = delete;
    virtual ~XmlParserState() = default;

    /// Takes as much of the input as belongs to this situation, and returns the next state.
    virtual XmlParserState* handle( Engine& engine ) = 0;

    bool isEnd() const noexcept { return _isEnd; }

private:
    const bool _isEnd;
};

} // namespace Qv
