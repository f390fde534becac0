#include <resmgt/literals/liDate.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Qv {

namespace {

TEST( LiDateTest, ThePresentTimeIsNewerThan1970AndReadsLikeADate ) {
    const LiDate now = LiDate::now();
    EXPECT_EQ( LiDate::compare( LiDate(), now ), OsDateTypes::OLDER );
    EXPECT_EQ( LiDate::compare( now, LiDate( now.getRep() ) ), OsDateTypes::SAME );
    EXPECT_EQ( LiDate::compare( now, LiDate() ), OsDateTypes::NEWER );
    EXPECT_THAT( now.getText( "%y-%m-%d" ),
                 testing::MatchesRegex( "[0-9]+-[01][0-9]-[0-3][0-9]" ) );
    EXPECT_EQ( now.getText( "%Y%j" ), OsDateUtil::toLocalText( now.getRep(), "%Y%j" ) );
}

} // namespace

} // namespace Qv
