#pragma once

#include <cstddef>
#include <cstdlib>
#include <initializer_list>
#include <iterator>
#include <vector>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>

namespace Qv {

/// From now on the system call `number` fails with `error` for the calling thread, the threads that
/// it starts and every program that its process becomes. There is no way back.
inline void denyCall( unsigned int number, unsigned int error ) {
    sock_filter program[] = {
        BPF_STMT( BPF_LD | BPF_W | BPF_ABS, offsetof( seccomp_data, nr ) ),
        BPF_JUMP( BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1 ),
        BPF_STMT( BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error ),
        BPF_STMT( BPF_RET | BPF_K, SECCOMP_RET_ALLOW ),
    };
    const sock_fprog filter = { std::size( program ), program };
    if( ::prctl( PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0 ) != 0 ||
        ::prctl( PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter ) != 0 ) {
        std::abort();
    }
}

/// From now on any other system call of the calling thread kills the process.
inline void allowOnly( std::initializer_list<unsigned int> numbers ) {
    std::vector<sock_filter> program{
        BPF_STMT( BPF_LD | BPF_W | BPF_ABS, offsetof( seccomp_data, nr ) ) };
    for( const unsigned int number : numbers ) {
        program.push_back( BPF_JUMP( BPF_JMP | BPF_JEQ | BPF_K, number, 0, 1 ) );
        program.push_back( BPF_STMT( BPF_RET | BPF_K, SECCOMP_RET_ALLOW ) );
    }
    program.push_back( BPF_STMT( BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS ) );
    const sock_fprog filter = { static_cast<unsigned short>( program.size() ), program.data() };
    if( ::prctl( PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0 ) != 0 ||
        ::prctl( PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter ) != 0 ) {
        std::abort();
    }
}

} // namespace Qv
