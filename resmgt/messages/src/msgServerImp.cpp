#include <resmgt/messages/src/msgServerImp.h>

#include <base/failure/assertions.h>
#include <base/init/inBuildInfo.h>
#include <base/init/inBuildInfoMgr.h>
#include <resmgt/initConfig/inPaths.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/messages/msgFileGuard.h>
#include <resmgt/messages/msgManager.h>
#include <resmgt/messages/msgSubscription.h>

#include <atomic>
#include <string_view>
#include <utility>

namespace Qv {

namespace {

/// `\#` and those of C for control characters. A backslash before anything else is itself.
std::string decodeEscapes( std::string_view text ) {
    constexpr std::string_view NAMES = "bfnrtv#\\";
    constexpr std::string_view CHARACTERS = "\b\f\n\r\t\v#\\";
    std::string result;
    for( std::size_t i = 0; i < text.size(); ++i ) {
        const std::size_t escape = text[i] == '\\' && i + 1 < text.size()
                                       ? NAMES.find( text[i + 1] )
                                       : std::string_view::npos;
        if( escape == std::string_view::npos ) {
            result += text[i];
        } else {
            result += CHARACTERS[escape];
            ++i;
        }
    }
    return result;
}

// Chosen whenever somebody asks for the server; relaxed, since it orders nothing.
constinit std::atomic<LgTypes::Level> missingLevel = LgTypes::Warning;

void reportMissing( const char* tag, const std::string& path ) {
    const LgTypes::Level level = missingLevel.load( std::memory_order_relaxed );
    if( LgGroups::MinorLevelMessages.isLevelEnabled( level ) ) {
        LgStatement::write( LgGroups::MinorLevelMessages, level, "Could not find message with tag ",
                            tag, " in ", path );
    }
}

} // namespace

MsgServerImp::MsgServerImp()
    : _managerLock( "MsgServer manager" )
    , _manager( new MsgManager ) {}

MsgServerImp::~MsgServerImp() = default;

void MsgServerImp::subscribe( MsgSubscription& subscription ) {
    QV_ASSERT_TEXT( _currentFileGuard != nullptr, "_currentFileGuard != 0" );
    const auto found = _currentFileGuard->_texts.find( subscription.getTag() );
    if( found != _currentFileGuard->_texts.end() ) {
        subscription.setText( decodeEscapes( found->second ).c_str() );
    } else {
        subscription.setText( nullptr );
        reportMissing( subscription.getTag(), _currentFileGuard->_path.toString() );
    }
}

void MsgServerImp::chooseMissingLevel() {
    const bool isForDevelopers =
        !InBuildInfoMgr::isAppInfoRegistered() ||
        InBuildInfoMgr::getAppInfo().getBuildKind() == InBuildInfo::DEVELOPMENT_BUILD;
    missingLevel.store( isForDevelopers ? LgTypes::Warning : LgTypes::Support,
                        std::memory_order_relaxed );
}

OPtrRet<MsgManager> MsgServerImp::setManager( OPtr<MsgManager> manager ) {
    const LkGuard guard( _managerLock );
    OPtr<MsgManager> former( _manager );
    _manager = manager;
    return former;
}

MsgManager* MsgServerImp::getManager() {
    const LkGuard guard( _managerLock );
    return _manager.get();
}

void MsgServerImp::setDirectory( const OsFilePath& directory ) {
    _directory = directory;
}

void MsgServerImp::enablePopups( bool isEnabled ) {
    if( MsgManager* const manager = getManager() ) {
        manager->enablePopups( isEnabled );
    }
}

OsFilePath MsgServerImp::getDirectory() const {
    return _directory.isEmpty() ? InPaths::getResourcesDir() + "messages" : _directory;
}

void MsgServerImp::addFileGuard( MsgFileGuard& guard ) noexcept {
    guard._formerGuard = std::exchange( _currentFileGuard, &guard );
}

void MsgServerImp::removeFileGuard( const MsgFileGuard& guard ) noexcept {
    MsgFileGuard** place = &_currentFileGuard;
    while( *place != &guard ) {
        place = &( *place )->_formerGuard;
    }
    *place = guard._formerGuard;
}

} // namespace Qv
