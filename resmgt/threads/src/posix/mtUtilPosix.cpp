#include <resmgt/threads/mtUtil.h>

#include <base/failure/assertions.h>
#include <resmgt/threads/src/mtSystemFacts.h>
#include <resmgt/threads/src/posix/mtCpuLimitPosix.h>
#include <resmgt/threads/src/posix/mtSchedulerPosix.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <ctime>
#include <fstream>

#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace Qv {

namespace {

/// The first number behind a name in the system's description of its processors.
int readProcessorNumber( const std::string& name ) {
    std::ifstream file( "/proc/cpuinfo" );
    for( std::string line; std::getline( file, line ); ) {
        const std::size_t colon = line.find( ':' );
        if( colon != std::string::npos &&
            line.substr( 0, line.find_last_not_of( " \t", colon - 1 ) + 1 ) == name ) {
            return std::atoi( line.c_str() + colon + 1 );
        }
    }
    return 0;
}

/// 1, or the answer to a failed transfer.
int writeAll( int file, const char* data, std::size_t size ) {
    while( size > 0 ) {
        const ssize_t written = ::write( file, data, size );
        if( written >= 0 ) {
            data += written;
            size -= static_cast<std::size_t>( written );
        } else if( errno == EFAULT ) {
            return 0;
        } else if( errno != EINTR ) {
            std::perror( "testWritable" );
            return -1;
        }
    }
    return 1;
}

} // namespace

MtSystemFacts MtSystemFacts::get() {
    utsname names{};
    QV_SYS_ASSERT( ::uname( &names ) == 0, errno );
    MtSystemFacts facts;
    std::sscanf( names.release, "%d.%d.%d", &facts.majorVersion, &facts.minorVersion,
                 &facts.buildNumber );
    facts.version = names.version;
    facts.pageSize = static_cast<int>( ::sysconf( _SC_PAGESIZE ) );
    facts.allocationGranularity = facts.pageSize;
    std::ifstream( "/proc/sys/vm/mmap_min_addr" ) >> facts.minimumApplicationAddress;
    // The lower half of what pointers of 48 bits reach, without its last page.
    facts.maximumApplicationAddress = ( 1LL << 47 ) - facts.pageSize - 1;
    facts.activeProcessorMask =
        static_cast<long long>( MtSchedulerPosix::getProcessSet().getMask() );
    facts.numberOfProcessors = MtUtil::getNbProcessors();
    facts.processorLevel = readProcessorNumber( "cpu family" );
    facts.processorRevision = readProcessorNumber( "stepping" );
    facts.nbThreadLocalSlots = PTHREAD_KEYS_MAX;
    facts.clocksPerSecond = static_cast<int>( CLOCKS_PER_SEC );
    return facts;
}

int MtUtil::testWritable( const void* data, int size ) {
    QV_ASSERT( size >= 0 );
    const int file = ::memfd_create( "testWritable", MFD_CLOEXEC );
    if( file == -1 ) {
        return 0;
    }
    const int answer =
        writeAll( file, static_cast<const char*>( data ), static_cast<std::size_t>( size ) );
    if( ::fchmod( file, S_IRUSR | S_IWUSR ) != 0 ) {
        std::perror( "testWritable chmod" );
    }
    if( ::close( file ) != 0 ) {
        std::perror( "testWritable close" );
    }
    return answer;
}

void MtUtil::yield() noexcept {
    ::sched_yield();
}

int MtUtil::getNbProcessors() {
    return static_cast<int>( std::max( ::sysconf( _SC_NPROCESSORS_ONLN ), 1L ) );
}

int MtUtil::getNbUsableProcessors() {
    const int nbInSet = std::max( MtSchedulerPosix::getProcessSet().getCount(), 1 );
    const int limit = MtCpuLimitPosix::read();
    return limit > 0 ? std::min( nbInSet, limit ) : nbInSet;
}

} // namespace Qv
