#include <base/failure/assertions.h>
#include <base/init/inBuildInfoMgr.h>
#include <base/init/inBuildInfoUtil.h>
#include <tests/support/fakeBuildInfo.h>

#include <gmock/gmock.h>

namespace Qv {

namespace {

// Records live until the process ends.
int nbAlive = 0;

class CountedInfo : public FakeBuildInfo {
public:
    using FakeBuildInfo::FakeBuildInfo;
    ~CountedInfo() override { --nbAlive; }
};

OPtr<InBuildInfo> make( const char* library ) {
    ++nbAlive;
    return OPtr<InBuildInfo>( new CountedInfo( library ) );
}

TEST( InBuildInfoTest, AnApplicationWithoutARecordHasNoIdentityAndALaterRecordReplaces ) {
    const auto identify = []( auto id, auto version ) {
        return InBuildInfo::getInstanceIdentificationString( id, version );
    };
    ASSERT_FALSE( InBuildInfoMgr::isAppInfoRegistered() );
    EXPECT_THROW( InBuildInfoMgr::getAppInfo(), ExAssertionFailed );
    EXPECT_THROW( identify( InBuildInfo::WITH_PRODUCT_NAME, InBuildInfo::YEAR ),
                  ExAssertionFailed );
    const int nbBefore = nbAlive;
    for( int i = 0; i < 2; ++i ) {
        InBuildInfoMgr::registerAppInfo( make( "painter" ) );
        EXPECT_TRUE( InBuildInfoMgr::isAppInfoRegistered() );
        EXPECT_EQ( nbAlive, nbBefore + 1 );
    }
    EXPECT_EQ( identify( InBuildInfo::WITH_PRODUCT_NAME, InBuildInfo::YEAR ), "Painter 2031" );
    EXPECT_EQ( identify( InBuildInfo::WITHOUT_PRODUCT_NAME, InBuildInfo::YEAR_AND_NUMBER ),
               " 2031 (4.7dev)" );
}

TEST( InBuildInfoUtilTest, ALibraryThatStartsAgainReplacesItsRecord ) {
    const std::size_t nbInfos = InBuildInfoUtil::getInfos().size();
    const int nbBefore = nbAlive;
    InBuildInfoUtil::registerInfo( make( "libA" ) );
    InBuildInfoUtil::registerInfo( make( "libB" ) );
    InBuildInfo& again = InBuildInfoUtil::registerInfo( make( "libA" ) );
    EXPECT_EQ( nbAlive, nbBefore + 2 );
    EXPECT_EQ( InBuildInfoUtil::getInfos().size(), nbInfos + 2 );
    EXPECT_THAT( InBuildInfoUtil::getInfos(), ::testing::Contains( &again ) );
}

} // namespace

} // namespace Qv
