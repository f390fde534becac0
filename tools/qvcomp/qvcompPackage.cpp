#include <tools/qvcomp/qvcompPackage.h>

#include <tools/qvcomp/log.h>
#include <tools/qvcomp/messages.h>

#include <base/init/inBuildInfoMgr.h>
#include <base/init/inBuildInfoUtil.h>
#include <base/init/inContextAlias.h>
#include <base/init/inInit.h>
#include <base/init/inVariable.h>
#include <mediaTiles/mediaTilesPackage.h>
#include <resmgt/resmgtPackages.h>

#include <algorithm>
#include <array>
#include <string_view>

#include <stdlib.h>

namespace Qv {

template <>
InInit<QvInit::qvcomp>::InInit()
    : InPackageInit( "qvcomp" ) {
    registerPackage();
    dependsOn<QvInit::resmgt, QvInit::mediaTiles>();
}

namespace {

/// The command is built and numbered with the library.
class CommandBuildInfo final : public InBuildInfo {
public:
    const char* getProductName() const override { return "qvcomp"; }
    const char* getLibraryName() const override { return "qvcomp"; }
    const char* getVersion() const override { return getLibrary().getVersion(); }
    const char* getVersionNumber() const override { return getLibrary().getVersionNumber(); }
    const char* getBuildSuffix() const override { return getLibrary().getBuildSuffix(); }
    int getMajor() const override { return getLibrary().getMajor(); }
    int getMinor() const override { return getLibrary().getMinor(); }
    int getBuildKind() const override { return getLibrary().getBuildKind(); }
    const char* getBuildNumber() const override { return getLibrary().getBuildNumber(); }
    const char* getBuildDate() const override { return getLibrary().getBuildDate(); }
    const char* getBuildFlavour() const override { return getLibrary().getBuildFlavour(); }

private:
    static const InBuildInfo& getLibrary() {
        const Vector<const InBuildInfo*> infos = InBuildInfoUtil::getInfos();
        const auto found = std::find_if( infos.begin(), infos.end(), []( const InBuildInfo* info ) {
            return std::string_view( info->getLibraryName() ) == "libQvresmgt";
        } );
        return **found;
    }
};

} // namespace

template <>
void InInit<QvInit::qvcomp>::initializePackage() {
    LgGroups::MinorLevelQvcomp.create(
        [] { InBuildInfoMgr::registerAppInfo( OPtr<InBuildInfo>( new CommandBuildInfo ) ); } );
}

template <>
void InInit<QvInit::qvcomp>::finalizePackage() {
    LgGroups::MinorLevelQvcomp.destroy();
}

namespace {

InInit<QvInit::qvcomp> package;

const InContextAlias<InInitEnv, 0> memoryEnv( "QVCOMP_MEMORY", "Memory for tiles." );
const InVariable<const char*> memory( "ombra::qvcomp::memory", package, memoryEnv );
const InContextAlias<InInitEnv, 0> threadsEnv( "QVCOMP_THREADS", "Computing threads." );
const InVariable<const char*> threads( "ombra::qvcomp::threads", package, threadsEnv );
const InContextAlias<InInitEnv, 0> scratchEnv( "QVCOMP_SCRATCH", "Where tiles wait on the disk." );
const InVariable<const char*> scratchDir( "ombra::qvcomp::scratchDir", package, scratchEnv );

constexpr std::array<const InContextAliasBase*, 3> ENVIRONMENT{ &memoryEnv, &threadsEnv,
                                                                &scratchEnv };

/// An init file bears the variable's key, so that its description has to name it.
const char* getName( const InContextAliasBase& source, const InVariableBase& variable ) {
    const bool isFile = std::string_view( source.getKey() ) == variable.getKey();
    return isFile ? source.getDescription() : source.getKey();
}

std::optional<Comp::Setting> getSetting( const InVariable<const char*>& variable ) {
    if( !variable.isValid() ) {
        return std::nullopt;
    }
    const InContextAliasBase& source = *variable.getOrigin();
    const MsgError label =
        Comp::makeMessage( Comp::Tag::SETTING, { variable.getKey(), getName( source, variable ),
                                                 source.getSourceString() } );
    return Comp::Setting{ label.getText(), variable.getValue() };
}

} // namespace

void Comp::dropEmptySettings() {
    for( const InContextAliasBase* variable : ENVIRONMENT ) {
        const char* const value = ::getenv( variable->getKey() );
        if( value != nullptr && *value == 0 ) {
            ::unsetenv( variable->getKey() );
        }
    }
}

std::optional<Comp::Setting> Comp::getMemorySetting() {
    return getSetting( memory );
}

std::optional<Comp::Setting> Comp::getThreadsSetting() {
    return getSetting( threads );
}

std::optional<Comp::Setting> Comp::getScratchSetting() {
    return getSetting( scratchDir );
}

} // namespace Qv
