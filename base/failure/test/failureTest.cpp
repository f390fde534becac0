#include <base/failure/assertions.h>
#include <base/failure/exSysError.h>
#include <base/failure/floatUtil.h>

#include <gmock/gmock.h>

#include <cerrno>
#include <functional>
#include <memory>

namespace Qv {

namespace {

using ::testing::HasSubstr;
using ::testing::StrEq;

struct RaisingCase {
    const char* _name;
    std::function<void()> _raise;
    const char* _reason;
};

void failComparison() {
    FloatUtil::ThrowAssertionFailed<float, 0>::throwAssertionFailed(
        QV_HERE, "ratio", " is greater than ", "0.0f", 0.1F, 16777217.0F, 1e-7F );
}

const RaisingCase RAISING_CASES[] = {
    { "internal", [] { throw ExInternalError( QV_HERE, "broken" ); }, "broken" },
    { "caught", [] { throw ExCaughtException( QV_HERE, nullptr, "int", nullptr ); },
      "Caught a foreign exception of type int" },
    { "sys", [] { throw ExSysErrorWindows( QV_HERE, "OsFsUtils::remove", "/no/file" ); },
      "OsFsUtils::remove '/no/file': No such file or directory (error 2)" },
    { "ansi", [] { throw ExSysErrorANSI( QV_HERE ); }, "No such file or directory (error 2)" },
    { "generic", [] { throw ExSysErrorGeneric( QV_HERE, "reason", "Where::at", nullptr ); },
      "Where::at: reason" },
    { "assertion", [] { QV_ASSERT( 1 + 1 == 3 ); }, "Assertion failed: \"1 + 1 == 3\"" },
    { "text", [] { QV_ASSERT_TEXT( false, "memory == 0" ); }, "Assertion failed: \"memory == 0\"" },
    { "sys assertion", [] { QV_SYS_ASSERT( 1 == 2, EINVAL ); },
      "Assertion failed: \"1 == 2\": Invalid argument (error 22)" },
    { "comparison", &failComparison,
      "Assertion failed: \"ratio is greater than 0.0f (0.1 and 16777216, tolerance 1e-07)\"" },
    { "abort", [] { Assertions::throwProgramAborted( QV_HERE, nullptr ); }, "Program aborted" },
    { "development abort",
      [] { Assertions::throwDevelopmentProgramAborted( QV_HERE, "no such state" ); },
      "Program aborted: no such state" },
};

std::unique_ptr<ExBase> caught( const std::function<void()>& raise ) {
    errno = ENOENT;
    try {
        raise();
    } catch( const ExBase& exception ) {
        return std::unique_ptr<ExBase>( exception.clone() );
    }
    return nullptr;
}

std::string typeName( const ExBase& exception ) {
    return typeid( exception ).name();
}

} // namespace

TEST( ExceptionTest, KeepsTypeReasonAndPlaceThroughCloneAndRaise ) {
    for( const RaisingCase& raising : RAISING_CASES ) {
        SCOPED_TRACE( raising._name );
        const std::unique_ptr<ExBase> first = caught( raising._raise );
        ASSERT_TRUE( first );
        const std::unique_ptr<ExBase> second = caught( [&] { first->raise(); } );
        ASSERT_TRUE( second );
        EXPECT_THAT( first->getReason(), StrEq( raising._reason ) );
        EXPECT_THAT( second->getReason(), StrEq( raising._reason ) );
        EXPECT_EQ( typeName( *first ), typeName( *second ) );
        EXPECT_THAT( second->getFileName(), StrEq( "base\\failure\\test\\failureTest" ) );
        EXPECT_THAT( second->what(), HasSubstr( raising._reason ) );
        EXPECT_THAT( second->getDetailedReason(),
                     HasSubstr( "failureTest:" + std::to_string( first->getLineNo() ) ) );
    }
}

TEST( ExceptionTest, RethrowKeepsTheOriginalAliveAndItsReason ) {
    std::unique_ptr<ExBase> carrier = caught( [] {
        throw ExRethrow<ExBase>( QV_HERE,
                                 OPtr<ExBase>( new ExInternalError( QV_HERE, "in a thread" ) ) );
    } );
    ASSERT_TRUE( carrier );
    EXPECT_THAT( carrier->getReason(), StrEq( "in a thread" ) );
    const auto& rethrow = dynamic_cast<const ExRethrow<ExBase>&>( *carrier );
    EXPECT_THROW( rethrow.getOriginal().raise(), ExInternalError );
    EXPECT_THROW( ExRethrow<ExBase>( QV_HERE, OPtr<ExBase>() ), ExAssertionFailed );
}

} // namespace Qv
