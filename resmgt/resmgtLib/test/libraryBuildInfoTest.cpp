#include <base/init/inBuildInfoUtil.h>

#include <gmock/gmock.h>

#include <cstring>
#include <regex>
#include <string>

namespace Qv {

namespace {

TEST( LibraryBuildInfoTest, theLibraryRegistersOneRecordThatFitsTogether ) {
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

    struct Case {
        const char* _text;
        const char* _form;
    };
    const Case cases[] = {
        { info->getVersion(), "20[0-9]{2}" },
        { info->getBuildNumber(), "[0-9]+" },
        { info->getBuildDate(), "[A-Z][a-z]+ [0-3][0-9] 20[0-9]{2}" },
        { info->getBuildFlavour(), "[a-z]+\\.[a-z0-9_]+\\.[a-z]+[0-9]+" },
    };
    for( const Case& c : cases ) {
        EXPECT_TRUE( std::regex_match( c._text, std::regex( c._form ) ) ) << c._text;
    }
}

} // namespace

} // namespace Qv
