#include <base/failure/exBase.h>
#include <base/failure/src/exStack.h>

namespace Qv {

struct ExBase::Content {
    CallStack _stack;
    std::string _reason;
    std::string _detailedReason;
};

namespace {

std::string detailedReason( const std::string& reason, const char* file, int line ) {
    return reason + " [" + file + ':' + std::to_string( line ) + ']';
}

} // namespace

ExBase::ExBase( const char* file, int line )
    : _fileName( file )
    , _lineNo( line )
    , _content( std::make_shared<const Content>(
          Content{ captureStack(), {}, detailedReason( {}, file, line ) } ) ) {}

ExBase::ExBase( const ExBase& other ) noexcept = default;
ExBase& ExBase::operator=( const ExBase& other ) noexcept = default;
ExBase::~ExBase() = default;

const char* ExBase::what() const noexcept {
    return _content->_detailedReason.c_str();
}

const char* ExBase::getReason() const noexcept {
    return _content->_reason.c_str();
}

const char* ExBase::getDetailedReason() const noexcept {
    return _content->_detailedReason.c_str();
}

std::string ExBase::getStackText() const {
    return stackText( _content->_stack );
}

void ExBase::setReason( const char* text ) {
    std::string reason = _content->_reason + text;
    std::string detailed = detailedReason( reason, _fileName, _lineNo );
    _content = std::make_shared<const Content>(
        Content{ _content->_stack, std::move( reason ), std::move( detailed ) } );
}

} // namespace Qv
