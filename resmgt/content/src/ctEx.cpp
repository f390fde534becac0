#include <resmgt/content/ctEx.h>

#include <resmgt/literals/liString.h>
#include <resmgt/osal/osFilePath.h>

namespace Qv {

CtEx::ExUnknownServerType::ExUnknownServerType( const char* file, int line, const LiString& type )
    : ExCloneable( file, line ) {
    setReason( ( "Unknown server type (" + type + ")." ).c_str() );
}

CtEx::ExNotEnoughSpace::ExNotEnoughSpace( const char* file, int line, const char* detail )
    : ExCloneable( file, line ) {
    setReason( "Not enough space on mediastore:\n" );
    setReason( detail );
}

CtEx::ExSeekFailed::ExSeekFailed( const char* file, int line, const OsFilePath& path,
                                  unsigned int offset, Direction direction )
    : ExCloneable( file, line ) {
    setReason( ( "Seek to offset " + std::to_string( offset ) + " failed for file " +
                 path.toString() + " while " )
                   .c_str() );
    setReason( direction == READING ? "reading." : "writing." );
}

CtEx::ExContentDiffers::ExContentDiffers( const char* file, int line, const OsFilePath& path,
                                          unsigned int offset, unsigned int size )
    : ExCloneable( file, line ) {
    setReason( ( "The content of file " + path.toString() + " isn't what was written: " +
                 std::to_string( size ) + " bytes from offset " + std::to_string( offset ) + "." )
                   .c_str() );
}

} // namespace Qv
