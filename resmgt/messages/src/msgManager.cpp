#include <resmgt/messages/msgManager.h>

#include <base/failure/qvHere.h>
#include <base/init/inBuildInfoUtil.h>
#include <base/text/exStdout.h>
#include <base/trace/trace.h>
#include <resmgt/logger/lgLog.h>
#include <resmgt/logger/qvLog.h>
#include <resmgt/osal/osEnv.h>
#include <resmgt/osal/osUtils.h>

namespace Qv {

namespace {

// An output that stalls must not keep the process from its end for long.
constexpr double LOG_SECONDS = 5.0;

[[noreturn]] void endForUnknownLevel() {
    QV_LOG( Messages, InternalError, "Unknown message type." );
    LgLog::flush( LOG_SECONDS );
    OsUtils::exitOnCrash();
}

const char* getTitle( MsgTypes::Level level ) {
    switch( level ) {
    case MsgTypes::FATAL_ERROR:
        return "Lumenar - Fatal Error";
    case MsgTypes::ERROR:
        return "Lumenar - Error";
    case MsgTypes::WARNING:
        return "Lumenar - Warning";
    case MsgTypes::INFORMATION:
        return "Lumenar - Information";
    }
    endForUnknownLevel();
}

bool isAnybodyThere() {
    try {
        return !ExStdout::isRedirectedToAFile() &&
               InBuildInfoUtil::getApplicationMode() != InBuildInfoUtil::BATCH;
    } catch( const ExBase& ) {
        Trace::printCurrentException( "MsgManager::display", QV_HERE );
        return false;
    }
}

} // namespace

MsgManager::MsgManager() = default;

MsgManager::~MsgManager() = default;

void MsgManager::display( const char* text, MsgTypes::Level level ) {
    log( text, level );
    const char* const title = getTitle( level );
    if( !isAnybodyThere() ) {
        return;
    }
    if( !OsEnv::isSet( std::string( "QV_NO_MESSAGE_BEEP" ) ) ) {
        performBeep( level );
    }
    if( !OsEnv::isSet( std::string( "QV_NO_MESSAGE_BOX" ) ) ) {
        performShowBox( title, text, level );
    }
}

void MsgManager::enablePopups( bool ) {}

void MsgManager::log( const char* text, MsgTypes::Level level ) {
    if( level < MsgTypes::FATAL_ERROR || level > MsgTypes::INFORMATION ) {
        endForUnknownLevel();
    }
    const auto logLevel = static_cast<LgTypes::Level>( level );
    if( LgGroups::MinorLevelMessages.isLevelEnabled( logLevel ) ) {
        LgStatement::write( LgGroups::MinorLevelMessages, logLevel, text );
    }
}

} // namespace Qv
