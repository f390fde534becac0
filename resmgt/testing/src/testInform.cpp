#include <resmgt/testing/testInform.h>

#include <base/debug/dbgTestMgr.h>
#include <base/text/exStdout.h>

#include <string>

namespace Qv {

bool TestInform::isRegressionTestSuite() noexcept {
    return DbgTestMgr::isTestRunning();
}

void TestInform::exceptionEncountered( const char* text ) {
    ExStdout::printAtomically( ( std::string( "Exception encountered: " ) + text ).c_str() );
}

void TestInform::abnormalTermination( const char* text ) {
    ExStdout::printAtomically( ( std::string( "Abnormal termination: " ) + text ).c_str() );
}

} // namespace Qv
