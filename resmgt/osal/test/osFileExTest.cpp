#include <resmgt/osal/osFileEx.h>
#include <resmgt/osal/osFilePath.h>

#include <gmock/gmock.h>

#include <memory>

namespace Qv {
namespace {

/// The reason of an exception that was copied and raised again with its own type.
template <class Exception, class... Args>
std::string reasonOf( const Args&... args ) {
    const std::unique_ptr<ExBase> copy( Exception( "file", 7, args... ).clone() );
    std::string reason;
    try {
        copy->raise();
    } catch( const Exception& exception ) {
        EXPECT_EQ( exception.getLineNo(), 7 );
        reason = exception.getReason();
    }
    return reason;
}

TEST( OsFileEx, ReasonsTellWhereAndWhatPath ) {
    using namespace OsFileEx;
    const OsFilePath path( "d\\f" );
    const std::pair<std::string, const char*> cases[] = {
        { reasonOf<ExSeparatorNotAllowed>( "W", L"\u00fc/" ),
          "W: Separator not allowed in path elements: '\xc3\xbc/'." },
        { reasonOf<ExHomeNotDefined>( "W" ), "W: Cannot get home directory from the environment." },
        { reasonOf<ExIllegalPathConcat>( "W", path ),
          "W: Attempt to concatenate absolute path: 'd/f'." },
        { reasonOf<ExFileExists>( "W", path ), "W: File 'd/f' already exists." },
        { reasonOf<ExNullFilePath>( "W" ), "W: File has null file path." },
        { reasonOf<ExPathNotWritable>( "W", path ), "W: Path is not writable: 'd/f'." },
        { reasonOf<ExPathNotReadable>( "W", path ), "W: Path is not readable: 'd/f'." },
        { reasonOf<ExPathNotAbsolute>( "W", path ), "W: Path not absolute: 'd/f'." },
        { reasonOf<ExRootDoesNotExist>( "W", path ), "W: Root does not exist: 'd/f'." },
        { reasonOf<ExUnHardlinkableFs>( "W", path ),
          "W: Can't create a hardlink on this filesystem : 'd/f'." },
        { reasonOf<ExNotEnoughSpace>( "W", path ),
          "W: filesystem doesn't have enough space to create file : 'd/f'." },
        { reasonOf<ExInvalidCrossDeviceLink>( "W", path, OsFilePath( "b" ) ),
          "W: Can't create a hardlink from 'd/f' to 'b'." },
        { reasonOf<ExInvalidPath>( "W", path ), "W: Invalid path: 'd/f'." },
        { reasonOf<ExEmptyDrive>( L"A:" ), "No disk in drive A:" },
    };
    for( const auto& [reason, expected] : cases ) {
        EXPECT_EQ( reason, expected );
    }
}

TEST( OsFileEx, AZeroByteInAPathDoesNotEndTheReason ) {
    EXPECT_EQ( reasonOf<OsFileEx::ExInvalidPath>( "W", OsFilePath( std::string( "a\0b", 3 ) ) ),
               "W: Invalid path: 'a?b'." );
}

} // namespace
} // namespace Qv
