#include <base/init/inSingletonEx.h>
#include <pluginAPI/piAppThread.h>
#include <pluginAPI/piHelp.h>
#include <pluginAPI/pxRequestMgr.h>
#include <tests/support/testThread.h>

#include <gmock/gmock.h>

#include <string>

namespace Qv {

namespace {

using ::testing::HasSubstr;

class TestAppThread : public PiAppThread {
public:
    explicit TestAppThread( int& nbAlive )
        : _nbAlive( nbAlive ) {
        ++_nbAlive;
    }
    ~TestAppThread() override { --_nbAlive; }

    using PiAppThread::finalize;
    using PiAppThread::initialize;

private:
    int& _nbAlive;
};

TEST( PiAppThreadTest, TheThreadThatMadeTheInstalledObjectIsTheMainThread ) {
    EXPECT_FALSE( PiAppThread::isCurrent() );
    int nbAlive = 0;
    TestThread application( [&] {
        TestAppThread::initialize( OPtr<PiAppThread>( new TestAppThread( nbAlive ) ) );
        EXPECT_TRUE( PiAppThread::isCurrent() );
    } );
    application.join();
    EXPECT_FALSE( PiAppThread::isCurrent() );
    EXPECT_THROW( TestAppThread::initialize( OPtr<PiAppThread>( new TestAppThread( nbAlive ) ) ),
                  InSingletonEx::ExAlreadyInitialized );
    EXPECT_EQ( nbAlive, 1 );
    TestAppThread::finalize();
    TestAppThread::finalize();
    EXPECT_EQ( nbAlive, 0 );
}

std::string opened;

TEST( PiHelpTest, TheInstalledOpenerGetsTheLinkAndItsAbsenceIsTold ) {
    const PiHelp::Opener opener = []( const std::string& link ) { opened = link; };
    EXPECT_EQ( PiHelp::setOpener( opener ), nullptr );
    PiHelp::openLink( "help:tiles" );
    EXPECT_EQ( opened, "help:tiles" );
    EXPECT_EQ( PiHelp::setOpener( nullptr ), opener );
    ::testing::internal::CaptureStderr();
    PiHelp::openLink( "help:locks" );
    EXPECT_THAT( ::testing::internal::GetCapturedStderr(), HasSubstr( "help:locks" ) );
    EXPECT_EQ( opened, "help:tiles" );
}

class TestRequestMgr : public PxRequestMgr {
public:
    TestRequestMgr() { initialize( this ); }
    ~TestRequestMgr() override { finalize(); }

    void drain() override { ++_nbDrains; }

    int _nbDrains = 0;
};

TEST( PxRequestMgrTest, TheApplicationsManagerIsReachedWhileItIsInstalled ) {
    EXPECT_FALSE( PxRequestMgr::isInitialized() );
    EXPECT_THROW( PxRequestMgr::getInstance(), InSingletonEx::ExNotInitialized );
    {
        TestRequestMgr manager;
        EXPECT_TRUE( PxRequestMgr::isInitialized() );
        EXPECT_THROW( TestRequestMgr(), InSingletonEx::ExAlreadyInitialized );
        PxRequestMgr::getInstance().drain();
        EXPECT_EQ( manager._nbDrains, 1 );
    }
    EXPECT_FALSE( PxRequestMgr::isInitialized() );
}

} // namespace

} // namespace Qv
