#include <resmgt/messages/msgManager.h>

#include <base/failure/qvHere.h>
#include <base/init/inBuildInfoUtil.h>
#include <base/text/exStdout.h>
#include <base/trace/trace.h>
#include <resmgt/messages/src/msgLog.h>
#include <resmgt/osal/osEnv.h>
#include <resmgt/osal/osUtils.h>

namespace Qv {

namespace {

[[noreturn]] void endForUnknownLevel() {
    MsgLog::print( "Unknown message type." );
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
    MsgLog::print( text );
}

} // namespace Qv
