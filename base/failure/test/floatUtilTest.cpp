#include <base/failure/assertions.h>
#include <base/failure/floatUtil.h>

#include <gtest/gtest.h>

#include <string>

namespace Qv {

TEST( FloatUtil, FailedComparisonTellsTheSourceAndTheExactValues ) {
    try {
        FloatUtil::ThrowAssertionFailed<float, 0>::throwAssertionFailed(
            "base\\some", 12, "ratio", " is greater than ", "0.0f", 0.1F, 16777217.0F, 1e-7F );
        FAIL() << "no exception was raised";
    } catch( const ExAssertionFailed& error ) {
        const std::string reason = error.getReason();
        EXPECT_NE( reason.find( "ratio is greater than 0.0f (0.1 and 16777216, tolerance 1e-07)" ),
                   std::string::npos )
            << reason;
        EXPECT_STREQ( error.getFileName(), "base\\some" );
        EXPECT_EQ( error.getLineNo(), 12 );
    }
}

} // namespace Qv
