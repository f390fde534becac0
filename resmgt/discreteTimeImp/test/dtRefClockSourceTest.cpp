#include <base/failure/assertions.h>
#include <base/init/inSingletonEx.h>
#include <base/init/src/inPackageFrame.h>
#include <base/values/dtRefTimeFactory.h>
#include <resmgt/discreteTimeImp/dtRefClockSourceUST.h>
#include <resmgt/profiling/hwCounter.h>

#include <gtest/gtest.h>

namespace Qv {

namespace {

void expectTickCounter() {
    const DtRefClockSource& source = DtRefTimeFactory::getSource();
    EXPECT_STREQ( source.getName(), "HwCounter" );
    EXPECT_EQ( source.getRate(), Rational( HwCounter::getRateNumerator(), 1 ) );
    EXPECT_DOUBLE_EQ( source.getResolution().getDouble(), HwCounter::resolution() );
    const std::uint64_t before = HwCounter::timeStamp();
    const std::uint64_t count = source.getCount();
    EXPECT_LE( before, count );
    EXPECT_LE( count, HwCounter::timeStamp() );
}

TEST( DtRefClockSourceTest, TheReferenceClockIsTheTickCounterAlsoWhenPackagesStartAgain ) {
    expectTickCounter();
    InPackageFrame& frame = InPackageFrame::getInstance();
    frame.stop();
    EXPECT_FALSE( DtRefTimeFactory::isInitialized() );
    EXPECT_THROW( DtRefTimeFactory::getSource(), InSingletonEx::ExAlreadyDestroyed );
    frame.start();
    expectTickCounter();
}

TEST( DtRefClockSourceTest, TheUnadjustedSystemTimeHasANameAndCannotBeRead ) {
    const DtRefClockSourceUST source;
    EXPECT_STREQ( source.getTypeName(), "DtRefClockSourceUST" );
    EXPECT_STREQ( source.getName(), "UST" );
    EXPECT_THROW( source.getCount(), ExProgramAborted );
}

} // namespace

} // namespace Qv
