#include <base/failure/qvHere.h>
#include <resmgt/osal/osFileMapping.h>
#include <resmgt/osal/osMTFileWriter.h>
#include <resmgt/osal/test/testFiles.h>

namespace Qv {
namespace {

class OsFileMappingTest : public ::testing::Test {
protected:
    std::wstring name() const { return _files.path( "file" ).toWString(); }
    unsigned long long size() const { return fs::file_size( _files.at( "file" ) ); }

    const TestFiles _files;
    const unsigned long long _page = static_cast<unsigned long long>( ::sysconf( _SC_PAGESIZE ) );
};

TEST_F( OsFileMappingTest, ReadOnlyMapsWhatIsThereAndGivesNoWritableAddress ) {
    const std::string content = std::string( _page, 'a' ) + "tail";
    _files.write( "file", content );
    const struct {
        unsigned long long _offset, _size;
        std::string _expected;
    } cases[] = { { 0, content.size(), content },
                  { 0, 0, content },
                  { 0, 3, "aaa" },
                  { _page, 4, "tail" },
                  { _page, 0, "tail" } };
    for( const auto& expected : cases ) {
        OsFileMapping mapping( name().c_str(), expected._offset, expected._size, true );
        EXPECT_EQ( mapping.getAddress(), nullptr );
        const void* const address = std::as_const( mapping ).getAddress();
        ASSERT_NE( address, nullptr );
        EXPECT_EQ( std::string( static_cast<const char*>( address ), expected._expected.size() ),
                   expected._expected );
    }
}

TEST_F( OsFileMappingTest, WritableGrowsAShortFileAndLeavesALongOne ) {
    _files.write( "file", "content" );
    {
        OsFileMapping mapping( name().c_str(), _page, 3 * _page, false );
        EXPECT_EQ( mapping.getAddress(), std::as_const( mapping ).getAddress() );
        EXPECT_EQ( size(), 4 * _page );
        std::memcpy( mapping.getAddress(), "mapped", 6 );
    }
    EXPECT_GE( static_cast<unsigned long long>( _files.facts( "file" ).st_blocks ) * 512,
               4 * _page );
    OsFileMapping mapping( name().c_str(), 0, 2 * _page, false );
    EXPECT_EQ( size(), 4 * _page );
    EXPECT_STREQ( static_cast<const char*>( mapping.getAddress() ), "content" );
    EXPECT_EQ( _files.read( "file" ).substr( _page, 6 ), "mapped" );
}

TEST_F( OsFileMappingTest, SpaceIsTakenForTheHolesOfWhatIsMappedForWriting ) {
    const auto space = [&] {
        return static_cast<unsigned long long>( _files.facts( "file" ).st_blocks ) * 512;
    };
    _files.write( "file", "content" );
    fs::resize_file( _files.at( "file" ), 64 * _page );
    const unsigned long long before = space();
    {
        const FailingCall full( "fallocate", ENOSPC );
        EXPECT_THROW( OsFileMapping( name().c_str(), 16 * _page, 16 * _page, false ),
                      OsFileMapping::CannotMapFileEx );
        // Who only reads needs none.
        OsFileMapping( name().c_str(), 16 * _page, 16 * _page, true );
    }
    EXPECT_EQ( space(), before );
    OsFileMapping mapping( name().c_str(), 16 * _page, 16 * _page, false );
    EXPECT_GE( space(), 16 * _page );
    EXPECT_LT( space(), 48 * _page );
    EXPECT_EQ( size(), 64 * _page );
    EXPECT_EQ( _files.read( "file" ).substr( 0, 8 ), std::string( "content\0", 8 ) );
}

TEST_F( OsFileMappingTest, WhatCantBeMappedIsRefusedAndTheFileKeepsItsLength ) {
    _files.write( "file", "content" );
    const struct {
        unsigned long long _offset, _size;
        bool _readOnly;
    } cases[] = { { 0, 0x100000000, false },
                  { 0, 8, true },
                  { _page, 1, true },
                  { _page, 0, true },
                  { _page, 0, false },
                  { 1, 3, true },
                  { _page / 2, 3, false },
                  { 0x7fffffffffffffff / _page * _page, 2 * _page, false },
                  { 0xffffffffffffffff / _page * _page, _page, false },
                  { 0xffffffffffffffff / _page * _page, 0, true } };
    for( const auto& refused : cases ) {
        EXPECT_EQ( raisedBy<OsFileMapping::CannotMapFileEx>( [&] {
                       OsFileMapping( name().c_str(), refused._offset, refused._size,
                                      refused._readOnly );
                   } ),
                   "OsFileMapping cannot map " + _files.path( "file" ).toString() )
            << refused._offset << ' ' << refused._size;
        EXPECT_EQ( _files.read( "file" ), "content" );
    }
}

TEST_F( OsFileMappingTest, FileThatCantBeOpenedIsTold ) {
    const std::string rest = " due to missing permissions. "
                             "You must enable write permissions for that file and directory.";
    for( const OsFilePath& path : { _files.path( "none/file" ), _files.path() } ) {
        EXPECT_EQ( raisedBy<OsFileMapping::FileNotFoundEx>(
                       [&] { OsFileMapping( path.toWString().c_str(), 0, 1, false ); } ),
                   "OsFileMapping cannot open " + path.toString() + rest );
    }
    EXPECT_EQ(
        raisedBy<OsFileMapping::FileNotFoundEx>( [] { OsFileMapping( nullptr, 0, 1, true ); } ),
        "OsFileMapping cannot open <null>" + rest );
    // The system makes the file that it finds nothing in then.
    EXPECT_THROW( OsFileMapping( name().c_str(), 0, 0, true ), OsFileMapping::CannotMapFileEx );
    EXPECT_EQ( size(), 0U );
    // A pipe isn't waited for.
    const TestFiles pipe( "pipe|" );
    EXPECT_THROW( OsFileMapping( pipe.path( "pipe" ).toWString().c_str(), 0, 1, true ),
                  OsFileMapping::CannotMapFileEx );
    EXPECT_STREQ( OsFileMapping::CannotGrowFileEx( QV_HERE, L"file" ).getReason(),
                  "OsFileMapping cannot grow file" );
    EXPECT_STREQ( OsFileMapping::CannotWriteFileEx( QV_HERE, nullptr ).getReason(),
                  "OsFileMapping cannot write <null>" );
}

TEST_F( OsFileMappingTest, EachCallThatFailsIsToldAndLeavesLengthAndDescriptorsAsTheyWere ) {
    _files.write( "file", "content" );
    for( const int error : { ENOSPC, ENOMEM } ) {
        std::string failure;
        const auto map = [&] { OsFileMapping( name().c_str(), _page, 2 * _page, false ); };
        const auto check = [&]( const FailedRun& run ) {
            if( failure.empty() ) {
                EXPECT_EQ( size(), 3 * _page );
                fs::resize_file( _files.at( "file" ), 7 );
            } else if( run.times == FailingCall::ONCE ) {
                EXPECT_THAT( failure, tells( "OsFileMapping cannot " ) );
                EXPECT_EQ( _files.read( "file" ), "content" ) << run.call;
            }
        };
        forEachFailingCall(
            error, [&] { failure = raisedBy<ExBase>( map ); }, check );
    }
}

} // namespace
} // namespace Qv
