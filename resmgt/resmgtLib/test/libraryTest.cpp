#include <base/init/inBuildInfoUtil.h>
#include <base/init/src/inPackageFrame.h>

#include <gmock/gmock.h>

#include <cstring>
#include <map>
#include <string>
#include <typeindex>
#include <utility>

namespace Qv {

namespace {

/// The declared graph; who starts after whom is a promise to everybody who adds to a package.
const std::map<std::string, std::string> graph = {
    { "base", "" },
    { "pluginAPI", "base" },
    { "resmgt", "pluginAPI base rtti content memoryBuffers observers threadExtensions threads xml "
                "dynamicAllocation literals predicate locks random discreteTimeImp testing "
                "messages tooltips logger initConfig initApp initInstallDir initVars osal "
                "profiling osSupport fileMonitoring fileLocks crashReport usageMetrics" },
    { "rtti", "locks base" },
    { "content", "testing threadExtensions threads literals initVars messages logger osSupport "
                 "locks profiling osal base" },
    { "memoryBuffers", "random logger dynamicAllocation literals locks initVars base" },
    { "observers", "testing profiling osSupport osal initVars messages logger threads locks base" },
    { "threadExtensions",
      "messages osal osSupport testing initVars logger profiling threads literals locks base" },
    { "threads", "testing profiling osSupport osal messages logger literals locks initVars base" },
    { "xml", "osal literals locks base" },
    { "dynamicAllocation", "locks testing messages logger initVars osal profiling osSupport base" },
    { "literals", "osal locks base" },
    { "predicate", "locks base" },
    { "locks", "osal logger pluginAPI base" },
    { "random", "base" },
    { "discreteTimeImp", "osal profiling base" },
    { "testing", "locks logger initVars osal profiling osSupport pluginAPI base" },
    { "messages", "osSupport osal logger initVars initConfig base" },
    { "tooltips", "literals osSupport osal logger initVars initConfig pluginAPI base" },
    { "logger", "osSupport initVars initConfig osal profiling base" },
    { "initConfig", "initApp initInstallDir initVars osal base" },
    { "initApp", "initInstallDir initVars osal base" },
    { "initInstallDir", "initVars osal base" },
    { "initVars", "osSupport osal base" },
    { "osal", "osSupport profiling pluginAPI base" },
    { "profiling", "osSupport base" },
    { "osSupport", "base" },
    { "fileMonitoring", "threads literals locks logger osal profiling osSupport pluginAPI base" },
    { "fileLocks",
      "threads threadExtensions locks xml logger literals osal profiling osSupport base" },
    { "crashReport", "base" },
    { "usageMetrics", "base" },
};

TEST( LibraryTest, EveryPackageDeclaresItsDependenciesAndStartsAfterThem ) {
    std::map<std::string, std::string> declared;
    std::map<std::type_index, std::string> started;
    for( const InPackageInit* const package : InPackageFrame::getInstance().getStartedPackages() ) {
        const std::string name = package->getName();
        std::string& dependencies = declared[name];
        for( const std::type_info* const identity : package->getDependencies() ) {
            ASSERT_TRUE( started.contains( *identity ) ) << name << " starts too early";
            dependencies += ( dependencies.empty() ? "" : " " ) + started.at( *identity );
        }
        started.emplace( *package->getIdentity(), name );
    }
    EXPECT_EQ( declared, graph );
}

TEST( LibraryTest, TheLibraryRegistersOneRecordThatFitsTogether ) {
    const InBuildInfo* info = nullptr;
    for( const InBuildInfo* const candidate : InBuildInfoUtil::getInfos() ) {
        if( std::strcmp( candidate->getLibraryName(), "libQvresmgt" ) == 0 ) {
            EXPECT_EQ( info, nullptr );
            info = candidate;
        }
    }
    ASSERT_NE( info, nullptr );
    EXPECT_STREQ( info->getProductName(), "Tessaroc Ombra Library" );
    EXPECT_EQ( info->getVersionNumber(),
               std::to_string( info->getMajor() ) + '.' + std::to_string( info->getMinor() ) );
    EXPECT_STREQ( info->getBuildSuffix(), info->getBuildKind() == 3 ? "dev" : "" );

    const std::pair<const char*, const char*> cases[] = {
        { info->getVersion(), "20[0-9]{2}" },
        { info->getBuildNumber(), "[0-9]+" },
        { info->getBuildDate(), "[A-Z][a-z]+ [0-3][0-9] 20[0-9]{2}" },
        { info->getBuildFlavour(), "[a-z]+\\.[a-z0-9_]+\\.[a-z]+[0-9]+" },
    };
    for( const auto& [text, form] : cases ) {
        EXPECT_THAT( text, ::testing::MatchesRegex( form ) );
    }
}

} // namespace

} // namespace Qv
