#include <base/init/src/inPackageFrame.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace Qv {

namespace {

struct Row {
    const char* _package;
    const char* _dependencies;
};

/// The declared graph; who starts after whom is a promise to everybody who adds to a package.
const Row TABLE[] = {
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

std::string declaredDependencies( const InPackageInit& package,
                                  const std::vector<InPackageInit*>& all ) {
    std::string text;
    for( const std::type_info* const identity : package.getDependencies() ) {
        const auto i = std::ranges::find_if(
            all, [&]( const InPackageInit* other ) { return *other->getIdentity() == *identity; } );
        text += text.empty() ? "" : " ";
        text += ( *i )->getName();
    }
    return text;
}

} // namespace

TEST( PackageGraphTest, everyPackageDeclaresItsDependenciesAndStartsAfterThem ) {
    const std::vector<InPackageInit*>& started = InPackageFrame::getInstance().getStartedPackages();
    ASSERT_EQ( started.size(), std::size( TABLE ) );
    EXPECT_STREQ( started.back()->getName(), "resmgt" );
    std::map<std::string, std::size_t> positions;
    for( const InPackageInit* const package : started ) {
        const std::string name = package->getName();
        SCOPED_TRACE( name );
        const auto row = std::ranges::find( TABLE, name, &Row::_package );
        ASSERT_NE( row, std::end( TABLE ) );
        EXPECT_EQ( declaredDependencies( *package, started ), row->_dependencies );
        std::istringstream dependencies( row->_dependencies );
        for( std::string dependency; dependencies >> dependency; ) {
            EXPECT_TRUE( positions.contains( dependency ) ) << dependency << " starts too late";
        }
        positions.emplace( name, positions.size() );
    }
}

} // namespace Qv
