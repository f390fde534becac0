#include <resmgt/threads/src/posix/mtProcessorSetPosix.h>

#include <base/failure/assertions.h>

#include <bit>
#include <cerrno>
#include <numeric>

namespace Qv {

namespace {

// 1024 processors are what the C library counts with; the system's limit is far below the second.
constexpr std::size_t FIRST_NB_WORDS = 16;
constexpr std::size_t MAX_NB_WORDS = 4096;

} // namespace

MtProcessorSetPosix::MtProcessorSetPosix( unsigned long long mask )
    : _words( FIRST_NB_WORDS ) {
    _words.front() = mask;
}

MtProcessorSetPosix MtProcessorSetPosix::ofThread( pid_t thread ) {
    MtProcessorSetPosix set( 0 );
    // The system refuses a set that is smaller than its own.
    for( ;; ) {
        const int result = ::sched_getaffinity( thread, set._words.size() * sizeof( unsigned long ),
                                                reinterpret_cast<cpu_set_t*>( set._words.data() ) );
        if( result == 0 ) {
            return set;
        }
        QV_SYS_ASSERT( errno == EINVAL && set._words.size() < MAX_NB_WORDS, errno );
        set._words.resize( set._words.size() * 2 );
    }
}

bool MtProcessorSetPosix::applyTo( pid_t thread ) const {
    return ::sched_setaffinity( thread, _words.size() * sizeof( unsigned long ),
                                reinterpret_cast<const cpu_set_t*>( _words.data() ) ) == 0;
}

int MtProcessorSetPosix::getCount() const {
    return std::accumulate( _words.begin(), _words.end(), 0, []( int count, unsigned long word ) {
        return count + std::popcount( word );
    } );
}

} // namespace Qv
