#include <base/init/inInitGuard.h>

#include <gmock/gmock.h>

int main( int argc, char** argv ) {
    ::testing::InitGoogleMock( &argc, argv );
    const char* const* arguments = argv;
    const Qv::InInitGuard packages( argc, arguments );
    return RUN_ALL_TESTS();
}
