#include <tests/support/failingNew.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr int unlimited = std::numeric_limits<int>::max();
thread_local int nbLeft = unlimited;

void* checked( void* memory ) {
    if( memory == nullptr ) {
        throw std::bad_alloc();
    }
    return memory;
}

void countDown() {
    if( nbLeft == 0 ) {
        throw std::bad_alloc();
    }
    if( nbLeft != unlimited ) {
        --nbLeft;
    }
}

} // namespace

namespace Qv {

FailingNew::FailingNew( int nbSucceeding ) {
    nbLeft = nbSucceeding;
}

FailingNew::~FailingNew() {
    nbLeft = unlimited;
}

} // namespace Qv

// This program's allocation functions; the array forms come down to these. So would the nothrow
// form, but for the address sanitizer's own, whose memory the functions below can't free.
void* operator new( std::size_t size ) {
    countDown();
    return checked( std::malloc( std::max<std::size_t>( size, 1 ) ) );
}

void* operator new( std::size_t size, const std::nothrow_t& ) noexcept {
    try {
        return operator new( size );
    } catch( const std::bad_alloc& ) {
        return nullptr;
    }
}

void* operator new( std::size_t size, std::align_val_t alignment ) {
    countDown();
    const auto unit = static_cast<std::size_t>( alignment );
    return checked( std::aligned_alloc( unit, ( size + unit - 1 ) / unit * unit ) );
}

void operator delete( void* memory ) noexcept {
    std::free( memory );
}
void operator delete( void* memory, std::size_t ) noexcept {
    std::free( memory );
}
void operator delete( void* memory, std::align_val_t ) noexcept {
    std::free( memory );
}
void operator delete( void* memory, std::size_t, std::align_val_t ) noexcept {
    std::free( memory );
}
