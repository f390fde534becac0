#include <base/debug/dbgTestMgr.h>
#include <resmgt/testing/testInform.h>
#include <resmgt/threads/mtThreadTimer.h>
#include <resmgt/threads/mtUtil.h>
#include <resmgt/threads/src/posix/mtCpuLimitPosix.h>
#include <resmgt/threads/src/posix/mtProcessorSetPosix.h>
#include <resmgt/threads/test/testProtocol.h>
#include <resmgt/threads/test/threadCalls.h>
#include <resmgt/threads/test/tracedText.h>
#include <tests/support/holdPoint.h>
#include <tests/support/tempDirectory.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>

#include <sys/mman.h>

namespace Qv {
namespace {

using ::testing::HasSubstr;

using Files = std::vector<std::pair<std::string, std::string>>;

int limitIn( const Files& files ) {
    const TempDirectory root;
    for( const auto& [path, text] : files ) {
        const std::filesystem::path file = root.path() / path;
        std::filesystem::create_directories( file.parent_path() );
        std::ofstream( file ) << text;
    }
    return MtCpuLimitPosix::read( root.path().string() );
}

TEST( MtUtilTest, TheLeastShareOfAllGroupsLimitsTheProcessors ) {
    const std::string unified = "31 23 0:28 / /cg rw,relatime shared:9 - cgroup2 cgroup2 rw\n";
    const std::pair<std::string, std::string> mount{ "proc/self/mountinfo", unified };
    const std::pair<std::string, std::string> group{ "proc/self/cgroup", "0::/a/b\n" };
    const std::pair<Files, int> cases[] = {
        { {}, 0 },
        { { mount, group }, 0 },
        { { mount, group, { "cg/a/b/cpu.max", "max 100000\n" } }, 0 },
        { { mount, group, { "cg/a/b/cpu.max", "200000 100000\n" } }, 2 },
        { { mount, group, { "cg/a/b/cpu.max", "200001 100000\n" } }, 3 },
        { { mount, group, { "cg/a/b/cpu.max", "1 100000\n" } }, 1 },
        { { mount,
            group,
            { "cg/a/b/cpu.max", "400000 100000" },
            { "cg/a/cpu.max", "150000 100000" } },
          2 },
        { { mount, group, { "cg/cpu.max", "100000 100000" } }, 1 },
        { { mount, { "proc/self/cgroup", "0::/\n" }, { "cg/cpu.max", "300000 100000" } }, 3 },
        // A container that sees its own group at the top, and one that sees nothing of it.
        { { { "proc/self/mountinfo", "1 2 0:3 /box /cg rw - cgroup2 cgroup2 rw\n" },
            { "proc/self/cgroup", "0::/box/in\n" },
            { "cg/in/cpu.max", "200000 100000" } },
          2 },
        { { { "proc/self/mountinfo", "1 2 0:3 /box /cg rw - cgroup2 cgroup2 rw\n" },
            { "proc/self/cgroup", "0::/boxes\n" },
            { "cg/cpu.max", "200000 100000" } },
          2 },
        // Version 1, in a place with a blank, beside other controllers.
        { { { "proc/self/mountinfo", "3 2 0:1 / /c\\040g rw - cgroup cgroup rw,cpu,cpuacct\n"
                                     "4 2 0:2 / /set rw - cgroup cgroup rw,cpuset\n" },
            { "proc/self/cgroup", "3:cpuset:/x\n2:cpu,cpuacct:/y\n" },
            { "c g/y/cpu.cfs_quota_us", "250000\n" },
            { "c g/y/cpu.cfs_period_us", "100000\n" } },
          3 },
        { { { "proc/self/mountinfo", "3 2 0:1 / /cg rw - cgroup cgroup rw,cpu\n" },
            { "proc/self/cgroup", "2:cpu:/\n" },
            { "cg/cpu.cfs_quota_us", "-1\n" },
            { "cg/cpu.cfs_period_us", "100000\n" } },
          0 },
        // Nonsense limits nothing.
        { { mount, { "proc/self/cgroup", "\n::\n0\n0::a\n" }, { "cg/cpu.max", "x y" } }, 0 },
        { { mount, group, { "cg/a/b/cpu.max", "100000 0" } }, 0 },
        { { { "proc/self/mountinfo", "\n - \n1 2 3 / /cg rw -\n" }, group }, 0 } };
    int i = 0;
    for( const auto& [files, expected] : cases ) {
        EXPECT_EQ( limitIn( files ), expected ) << "case " << i++;
    }
    EXPECT_GE( MtUtil::getNbUsableProcessors(), 1 );
    EXPECT_LE( MtUtil::getNbUsableProcessors(), MtUtil::getNbProcessors() );
}

TEST( MtUtilDeathTest, OneProcessorIsEnoughAndCounted ) {
    const MtProcessorSetPosix before = MtProcessorSetPosix::ofThread( 0 );
    const unsigned long long all = before.getMask();
    ASSERT_TRUE( MtProcessorSetPosix( all & ~( all - 1 ) ).applyTo( 0 ) );
    EXPECT_EXIT(
        {
            const bool isRight = MtUtil::getNbUsableProcessors() == 1;
            for( int time = 0; time < 100; ++time ) {
                runThread( []( MtThread& ) { MtUtil::yield(); } );
            }
            std::_Exit( isRight ? 7 : 1 );
        },
        testing::ExitedWithCode( 7 ), "" );
    ASSERT_TRUE( before.applyTo( 0 ) );
}

TEST( MtUtilTest, TheReportHasItsThreeSectionsInOrder ) {
    captureTrace();
    MtUtil::printSysConf();
    EXPECT_THAT( takeTrace(),
                 testing::ContainsRegex(
                     "System Info\nProcessorArchitecture {20} +[0-9]+\nPageSize {33} +4096\n(.*\n)*"
                     "OS Version\ndwMajorVersion +[0-9]+\n(.*\n)*CSDVersion {31}.*\n"
                     "Other Info\nTLS_MINIMUM_AVAILABLE +[0-9]+\nCLOCKS_PER_SEC +[0-9]+\n" ) );
    const ProcessFailingCall failing( "uname", EFAULT );
    EXPECT_THAT( assertedBy( [] { MtUtil::printSysConf(); } ), HasSubstr( "uname" ) );
}

TEST( MtUtilTest, MemoryThatTheSystemCanReadIsToldFromOther ) {
    const std::string readable( 100000, 'r' );
    const int size = static_cast<int>( readable.size() );
    EXPECT_EQ( MtUtil::testWritable( readable.data(), size ), 1 );
    EXPECT_EQ( MtUtil::testWritable( nullptr, 0 ), 1 );
    EXPECT_EQ( assertedBy( [&] { MtUtil::testWritable( readable.data(), -1 ); } ), "size >= 0" );
    void* const hidden = ::mmap( nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0 );
    EXPECT_EQ( MtUtil::testWritable( hidden, 100 ), 0 );
    ::munmap( hidden, 4096 );
    const std::tuple<const char*, int, FailingCall::Times, int> cases[] = {
        { "write", EINTR, FailingCall::ONCE, 1 },
        { "write", EIO, FailingCall::ONCE, -1 },
        { "memfd_create", EMFILE, FailingCall::ONCE, 0 },
        { "fchmod", EPERM, FailingCall::ONCE, 1 } };
    testing::internal::CaptureStderr();
    for( const auto& [call, error, times, answer] : cases ) {
        const ProcessFailingCall failing( call, error, times );
        EXPECT_EQ( MtUtil::testWritable( readable.data(), size ), answer ) << call;
    }
    EXPECT_THAT( testing::internal::GetCapturedStderr(),
                 testing::ContainsRegex( "testWritable: .*\ntestWritable chmod: " ) );
}

TEST( TestInformTest, KnowsATestRunByItsManager ) {
    struct Manager : DbgTestMgr {
        Manager() { setTestRunning(); }
    };
    EXPECT_FALSE( TestInform::isRegressionTestSuite() );
    const Manager manager;
    EXPECT_TRUE( TestInform::isRegressionTestSuite() );
    testing::internal::CaptureStdout();
    TestInform::exceptionEncountered( "the text" );
    EXPECT_THAT( testing::internal::GetCapturedStdout(), HasSubstr( "the text" ) );
}

// --- Times

void work( double seconds ) {
    const MtThreadTimes begin = MtThreadTimes::timeSplit();
    while( MtThreadTimes::cpuTime( begin, MtThreadTimes::timeSplit() ) < seconds ) {}
}

TEST( MtThreadTimesTest, AnEndedThreadKeepsItsTimesUntilItIsJoined ) {
    HoldPoint worked( "worked" );
    const OPtr<MtThread> thread = makeThread( [&]( MtThread& ) {
        work( 0.02 );
        worked.pass();
    } );
    const MtThreadTimes none;
    const auto used = [&] {
        const MtThreadTimes now = MtThreadTimes::timeSplit( *thread );
        EXPECT_NEAR( MtThreadTimes::cpuTime( none, now ),
                     MtThreadTimes::cpuUserTime( none, now ) +
                         MtThreadTimes::cpuKernelTime( none, now ),
                     1e-6 );
        return MtThreadTimes::cpuTime( none, now );
    };
    EXPECT_EQ( used(), 0.0 );
    thread->start();
    worked.waitUntilReached();
    const double living = used();
    EXPECT_GE( living, 0.02 );
    worked.release();
    waitUntil( [&] { return thread->getId() == LkThreadId(); }, "the end of a body" );
    // Two clocks of the system, one with a tick of a microsecond.
    EXPECT_GE( used(), living - 0.01 );
    thread->join();
    EXPECT_EQ( used(), 0.0 );
    EXPECT_GT( MtThreadTimes::cpuTime( none, MtThreadTimes::timeSplit( *mgr().getMainThread() ) ),
               0.0 );
}

TEST( MtThreadTimesTest, ATimerAddsUpWhatItMeasures ) {
    MtThreadTimer timer;
    work( 0.002 );
    EXPECT_EQ( timer.cpuTime(), 0.0 );
    EXPECT_EQ( timer.realTime(), 0.0 );
    timer.start();
    timer.start();
    work( 0.002 );
    EXPECT_GE( timer.cpuTime(), 0.002 );
    timer.stop();
    timer.stop();
    const double first = timer.cpuTime();
    work( 0.002 );
    EXPECT_EQ( timer.cpuTime(), first );
    timer.start();
    work( 0.002 );
    timer.stop();
    EXPECT_GE( timer.cpuTime(), first + 0.0019 );
    EXPECT_GE( timer.realTime(), 0.0039 );
    EXPECT_NEAR( timer.cpuTime(), timer.cpuKernelTime() + timer.cpuUserTime(), 1e-9 );
    timer.start();
    timer.reset();
    EXPECT_EQ( timer.cpuTime() + timer.realTime(), 0.0 );
    EXPECT_GT( MtThreadTimer( MtThreadTimer::START_IMMEDIATELY ).realTime(), 0.0 );
    EXPECT_EQ( MtThreadTimer::resolution(), MtThreadTimes::resolution() );
    EXPECT_TRUE( MtThreadTimes::isImplemented() );
}

} // namespace
} // namespace Qv
