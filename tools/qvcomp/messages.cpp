#include <tools/qvcomp/messages.h>

#include <base/text/printable.h>
#include <resmgt/messages/msgFileGuard.h>
#include <resmgt/messages/msgServer.h>
#include <resmgt/messages/msgSubscription.h>

#include <array>
#include <stdexcept>
#include <vector>

namespace Qv::Comp {

namespace {

constexpr const char* FILE_NAME = "qvcomp.msg";

/// As the file names them, in the order of Tag.
constexpr std::array TAGS{
    "usage",          "setting",       "wrongNumber",  "wrongSize",       "wrongWord",
    "wrongBytes",     "wrongSeconds",  "wrongRadius",  "wrongFrames",     "wrongOffset",
    "unknownOption",  "noValue",       "emptyValue",   "noSize",          "noOutput",
    "noLayer",        "noLayerBehind", "noFrames",     "noFramePlace",    "sameOutputs",
    "outputIsLayer",  "wrongLevel",    "logIsOther",   "logUnopened",     "pathBackslash",
    "pathUnreached",  "noFileName",    "noMemory",     "littleMemory",    "noArena",
    "noThreads",      "layerMissing",  "layerNoFile",  "layerForbidden",  "layerUnreadable",
    "layerEmpty",     "layerNoImage",  "layerDeep",    "layerHuge",       "layerMemory",
    "layerAttribute", "layerShort",    "layerDamaged", "layerSubsampled", "layerWindow",
    "layerChannels",  "layerNotGrey",  "layerChanged", "otherColours",    "framesMissing",
    "frameFailed",    "framesUnmade",  "cantWrite",    "cantReplace",     "scratch",
    "scratchForeign", "scratchFull",   "jobNoFile",    "jobUnreadable",   "jobWrong",
    "jobElement",     "jobAttribute",  "jobText",      "jobFlag",         "jobNoLayerFile",
    "jobUnheld",      "jobIsOutput",   "outputIsJob",  "outputUnwritten", "locked",
    "cantLock",       "lockLost",      "interrupted",  "differs" };
static_assert( TAGS.size() == static_cast<std::size_t>( Tag::DIFFERS ) + 1 );

std::vector<MsgSubscription>& getSubscriptions() {
    static std::vector<MsgSubscription> subscriptions( TAGS.begin(), TAGS.end() );
    return subscriptions;
}

template <class Message>
Message fill( Tag tag, std::initializer_list<std::string> values ) {
    Message message( getSubscriptions()[static_cast<std::size_t>( tag )] );
    for( const std::string& value : values ) {
        message.substitute( value );
    }
    return message;
}

class LineManager final : public MsgManager {
public:
    explicit LineManager( std::ostream& stream )
        : _stream( stream ) {}

    void display( const char* text, MsgTypes::Level level ) override {
        log( text, level );
        if( level <= MsgTypes::WARNING ) {
            _stream << "qvcomp: " << Printable::makeText( text ) << '\n';
        }
    }

private:
    std::ostream& _stream;
};

} // namespace

void loadMessages() {
    const MsgFileGuard file( FILE_NAME );
    for( MsgSubscription& subscription : getSubscriptions() ) {
        MsgServer::getInstance().subscribe( subscription );
        if( !subscription.hasText() ) {
            throw std::runtime_error( std::string( "the message file " ) + FILE_NAME +
                                      " has no text for '" + subscription.getTag() + "'" );
        }
    }
}

MsgError makeMessage( Tag tag, std::initializer_list<std::string> values ) {
    return fill<MsgError>( tag, values );
}

MsgWarning makeWarning( Tag tag, std::initializer_list<std::string> values ) {
    return fill<MsgWarning>( tag, values );
}

MessageLines::MessageLines( std::ostream& stream )
    : _former(
          MsgServer::getInstance().setManager( OPtr<MsgManager>( new LineManager( stream ) ) ) ) {}

MessageLines::~MessageLines() {
    const OPtr<MsgManager> ours( MsgServer::getInstance().setManager( _former ) );
}

} // namespace Qv::Comp
