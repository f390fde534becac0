#include <base/failure/assertions.h>
#include <base/init/inBuildInfo.h>
#include <base/init/inBuildInfoMgr.h>
#include <base/init/inBuildInfoUtil.h>

#include <gmock/gmock.h>

namespace Qv {

namespace {

using ::testing::HasSubstr;

class TestInfo : public InBuildInfo {
public:
    TestInfo( const char* library, int& nbAlive )
        : _library( library )
        , _nbAlive( nbAlive ) {
        ++_nbAlive;
    }
    ~TestInfo() override { --_nbAlive; }

    const char* getProductName() const override { return "Painter"; }
    const char* getLibraryName() const override { return _library; }
    const char* getVersion() const override { return "2031"; }
    const char* getVersionNumber() const override { return "4.7"; }
    const char* getBuildSuffix() const override { return "dev"; }
    int getMajor() const override { return 4; }
    int getMinor() const override { return 7; }
    int getBuildKind() const override { return DEVELOPMENT_BUILD; }
    const char* getBuildNumber() const override { return "815"; }
    const char* getBuildDate() const override { return "March 04 2031"; }
    const char* getBuildFlavour() const override { return "fast.z80.cc"; }

private:
    const char* const _library;
    int& _nbAlive;
};

// Records live until the process ends.
int nbLibraryRecords = 0;
int nbApplicationRecords = 0;

TEST( InBuildInfoTest, AnApplicationWithoutARecordHasNoIdentityAndALaterRecordReplaces ) {
    ASSERT_FALSE( InBuildInfoMgr::isAppInfoRegistered() );
    EXPECT_THROW( InBuildInfoMgr::getAppInfo(), ExAssertionFailed );
    EXPECT_THROW( InBuildInfo::getInstanceIdentificationString( InBuildInfo::WITH_PRODUCT_NAME,
                                                                InBuildInfo::YEAR ),
                  ExAssertionFailed );

    for( int i = 0; i < 2; ++i ) {
        InBuildInfoMgr::registerAppInfo(
            OPtr<InBuildInfo>( new TestInfo( "painter", nbApplicationRecords ) ) );
        EXPECT_TRUE( InBuildInfoMgr::isAppInfoRegistered() );
        EXPECT_EQ( nbApplicationRecords, 1 );
    }
    const struct {
        InBuildInfo::InstanceIdControl _id;
        InBuildInfo::VersionDisplayControl _version;
        const char* _expected;
    } cases[] = {
        { InBuildInfo::WITH_PRODUCT_NAME, InBuildInfo::YEAR, "Painter 2031" },
        { InBuildInfo::WITHOUT_PRODUCT_NAME, InBuildInfo::YEAR_AND_NUMBER, " 2031 (4.7dev)" },
    };
    for( const auto& c : cases ) {
        EXPECT_EQ( InBuildInfo::getInstanceIdentificationString( c._id, c._version ), c._expected );
    }
}

TEST( InBuildInfoUtilTest, ALibraryThatStartsAgainReplacesItsRecord ) {
    const std::size_t nbBefore = InBuildInfoUtil::getInfos().size();
    InBuildInfoUtil::registerInfo( OPtr<InBuildInfo>( new TestInfo( "libA", nbLibraryRecords ) ) );
    InBuildInfoUtil::registerInfo( OPtr<InBuildInfo>( new TestInfo( "libB", nbLibraryRecords ) ) );
    InBuildInfo& again = InBuildInfoUtil::registerInfo(
        OPtr<InBuildInfo>( new TestInfo( "libA", nbLibraryRecords ) ) );
    EXPECT_EQ( nbLibraryRecords, 2 );
    EXPECT_EQ( InBuildInfoUtil::getInfos().size(), nbBefore + 2 );
    EXPECT_THAT( InBuildInfoUtil::getInfos(), ::testing::Contains( &again ) );
}

} // namespace

} // namespace Qv
