#include <tests/support/failingNew.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr int unlimited = std::numeric_limits<int>::max();
// In bytes. No machine has more, and a sanitizer's malloc ends the process for such a wish.
constexpr std::size_t MOST = std::size_t{ 1 } << 40;

thread_local int nbLeft = unlimited;
thread_local int nbToFail = 0;
thread_local int nbFailed = 0;

void* checked( void* memory ) {
    if( memory == nullptr ) {
        throw std::bad_alloc();
    }
    return memory;
}

void checkTurn( std::size_t size ) {
    if( size > MOST ) {
        throw std::bad_alloc();
    }
    if( nbLeft == unlimited ) {
        return;
    }
    if( nbLeft > 0 ) {
        --nbLeft;
    } else if( nbFailed < nbToFail ) {
        ++nbFailed;
        throw std::bad_alloc();
    }
}

} // namespace

namespace Qv {

FailingNew::FailingNew( int nbSucceeding )
    : FailingNew( nbSucceeding, unlimited ) {}

FailingNew::FailingNew( int nbSucceeding, int nbFailing ) {
    nbLeft = nbSucceeding;
    nbToFail = nbFailing;
    nbFailed = 0;
}

FailingNew::~FailingNew() {
    nbLeft = unlimited;
}

int FailingNew::getNbFailed() const noexcept {
    return nbFailed;
}

} // namespace Qv

// This program's allocation functions. The array and nothrow forms would come down to the others by
// themselves, but for those of the sanitizers, which fail for nobody.
void* operator new( std::size_t size ) {
    checkTurn( size );
    return checked( std::malloc( std::max<std::size_t>( size, 1 ) ) );
}

void* operator new( std::size_t size, std::align_val_t alignment ) {
    checkTurn( size );
    const auto unit = static_cast<std::size_t>( alignment );
    return checked( std::aligned_alloc( unit, ( size + unit - 1 ) / unit * unit ) );
}

void* operator new( std::size_t size, const std::nothrow_t& ) noexcept {
    try {
        return operator new( size );
    } catch( const std::bad_alloc& ) {
        return nullptr;
    }
}

void* operator new[]( std::size_t size ) {
    return operator new( size );
}
void* operator new[]( std::size_t size, std::align_val_t alignment ) {
    return operator new( size, alignment );
}
void* operator new[]( std::size_t size, const std::nothrow_t& tag ) noexcept {
    return operator new( size, tag );
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
void operator delete[]( void* memory ) noexcept {
    std::free( memory );
}
void operator delete[]( void* memory, std::size_t ) noexcept {
    std::free( memory );
}
void operator delete[]( void* memory, std::align_val_t ) noexcept {
    std::free( memory );
}
void operator delete[]( void* memory, std::size_t, std::align_val_t ) noexcept {
    std::free( memory );
}
