#include <base/init/inBuildInfo.h>

#include <base/failure/assertions.h>
#include <base/init/inBuildInfoMgr.h>
#include <base/init/inBuildInfoUtil.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <sstream>
#include <vector>

namespace Qv {

namespace {

struct Records {
    std::vector<std::unique_ptr<InBuildInfo>> _libraries;
    std::unique_ptr<InBuildInfo> _application;
    InBuildInfoUtil::ApplicationModes _mode = InBuildInfoUtil::INTERACTIVE;
};

Records& records() {
    static Records instance;
    return instance;
}

} // namespace

InBuildInfo::~InBuildInfo() = default;

std::string InBuildInfo::getBuildInformationString() const {
    std::ostringstream text;
    text << getProductName() << ' ' << getVersion() << " (" << getLibraryName() << ' '
         << getVersionNumber() << getBuildSuffix() << ", build " << getBuildNumber() << ", "
         << getBuildDate() << ", " << getBuildFlavour() << ')';
    return std::move( text ).str();
}

std::string InBuildInfo::getInstanceIdentificationString( InstanceIdControl idControl,
                                                          VersionDisplayControl versionControl ) {
    const InBuildInfo& info = InBuildInfoMgr::getAppInfo();
    std::string text = idControl == WITH_PRODUCT_NAME ? info.getProductName() : "";
    text.append( " " ).append( info.getVersion() );
    if( versionControl == YEAR_AND_NUMBER ) {
        text.append( " (" ).append( info.getVersionNumber() );
        text.append( info.getBuildSuffix() ).append( ")" );
    }
    return text;
}

InBuildInfo& InBuildInfoUtil::registerInfo( OPtr<InBuildInfo> info ) {
    QV_ASSERT( !info.isNull() );
    auto& libraries = records()._libraries;
    const auto i = std::ranges::find_if( libraries, [&]( const auto& other ) {
        return std::strcmp( other->getLibraryName(), info->getLibraryName() ) == 0;
    } );
    if( i != libraries.end() ) {
        i->reset( info.release() );
        return **i;
    }
    libraries.push_back( std::unique_ptr<InBuildInfo>( info.release() ) );
    return *libraries.back();
}

Vector<const InBuildInfo*> InBuildInfoUtil::getInfos() {
    Vector<const InBuildInfo*> infos;
    for( const auto& info : records()._libraries ) {
        infos.push_back( info.get() );
    }
    return infos;
}

InBuildInfoUtil::ApplicationModes InBuildInfoUtil::getApplicationMode() noexcept {
    return records()._mode;
}

void InBuildInfoUtil::setApplicationMode( ApplicationModes mode ) noexcept {
    records()._mode = mode;
}

void InBuildInfoMgr::registerAppInfo( OPtr<InBuildInfo> info ) {
    QV_ASSERT( !info.isNull() );
    records()._application.reset( info.release() );
}

const InBuildInfo& InBuildInfoMgr::getAppInfo() {
    QV_ASSERT( isAppInfoRegistered() );
    return *records()._application;
}

bool InBuildInfoMgr::isAppInfoRegistered() noexcept {
    return records()._application != nullptr;
}

} // namespace Qv
