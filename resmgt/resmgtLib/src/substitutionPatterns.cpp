#include <resmgt/resmgtLib/src/substitutionPatterns.h>

#include <base/callbacks/cbFunction.h>
#include <base/init/inBuildInfoMgr.h>
#include <base/ownership/rcShdPtr.h>
#include <base/text/wideStringUtil.h>
#include <resmgt/initConfig/inPaths.h>
#include <resmgt/literals/liDate.h>
#include <resmgt/literals/liStringSubstituter.h>
#include <resmgt/osal/osEnv.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/osal/osUtils.h>

#include <string>
#include <vector>

namespace Qv {

namespace {

template <OsFilePath ( *getPath )()>
void expandPath( std::string& text ) {
    text = getPath().toUTF8();
}

void expandTime( std::string& text ) {
    text = LiDate::now().getText( "%H%M%S" );
}

void expandDate( std::string& text ) {
    text = LiDate::now().getText( "%y-%m-%d" );
}

void expandUser( std::string& text ) {
    // The account, as lock files name it: what the session calls itself is in the environment.
    text = OsUtils::getUserName( true );
}

void expandHostName( std::string& text ) {
    text = OsUtils::getHostName();
}

void expandAppVersion( std::string& text ) {
    if( InBuildInfoMgr::isAppInfoRegistered() ) {
        text = InBuildInfoMgr::getAppInfo().getVersion();
    }
}

using Handler = CbFunction<std::string>;

struct FixedPattern {
    Handler handler;
    const char* spelling;
    const char* otherSpelling = nullptr;
};

/// In the order in which they are unregistered.
FixedPattern fixedPatterns[] = {
    { Handler( &expandPath<&OsFilePath::getCurrentDir> ), "<CurrentFolder>", "<CurrentDir>" },
    { Handler( &expandPath<&OsFilePath::getTempDir> ), "<TempFolder>", "<TempDir>" },
    { Handler( &expandPath<&InPaths::getInstallDir> ), "<InstallFolder>", "<InstallDir>" },
    { Handler( &expandPath<&InPaths::getPythonExec> ), "<PythonExec>" },
    { Handler( &expandPath<&InPaths::getOutputDir> ), "<OutputFolder>", "<OutputDir>" },
    { Handler( &expandTime ), "<Time>" },
    { Handler( &expandDate ), "<Date>" },
    { Handler( &expandUser ), "<OsUser>" },
    { Handler( &expandPath<&OsFilePath::getHomeDir> ), "<OsUserHomeFolder>" },
    { Handler( &expandPath<&OsFilePath::getUserDocumentsDir> ), "<OsUserDocsFolder>" },
    { Handler( &expandPath<&InPaths::getAppUserDocumentsDir> ), "<AppUserDocsFolder>" },
    { Handler( &expandHostName ), "<HostName>" },
    { Handler( &expandAppVersion ), "<AppVersion>" },
};

using EnvHandler = CbDataFunction<std::string, std::string>;

std::vector<RCShdPtr<EnvHandler>> envHandlers;

void expandVariable( std::string& text, const std::string& value ) {
    text = value;
}

void registerFixedPatterns() {
    for( FixedPattern& pattern : fixedPatterns ) {
        LiStringSubstituter::registerPattern( pattern.spelling, &pattern.handler );
        if( pattern.otherSpelling != nullptr ) {
            LiStringSubstituter::registerPattern( pattern.otherSpelling, &pattern.handler );
        }
    }
}

void registerEnvironment() {
    HashMap<std::wstring, std::wstring> variables;
    OsEnv::getVariables( variables );
    envHandlers.reserve( variables.size() );
    for( const auto& [name, value] : variables ) {
        const std::string pattern = "<Env:" + WideStringUtil::narrowMB( name ) + '>';
        envHandlers.emplace_back(
            new EnvHandler( &expandVariable, WideStringUtil::narrowMB( value ) ) );
        LiStringSubstituter::registerPattern( pattern, envHandlers.back().get() );
    }
}

} // namespace

void SubstitutionPatterns::registerAll() {
    try {
        registerFixedPatterns();
        registerEnvironment();
    } catch( ... ) {
        unregisterAll();
        throw;
    }
}

void SubstitutionPatterns::unregisterAll() {
    for( const FixedPattern& pattern : fixedPatterns ) {
        LiStringSubstituter::unregisterPattern( &pattern.handler );
    }
    for( const RCShdPtr<EnvHandler>& handler : envHandlers ) {
        LiStringSubstituter::unregisterPattern( handler.get() );
    }
    envHandlers.clear();
}

} // namespace Qv
