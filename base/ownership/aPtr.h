#pragma once

#include <base/ownership/ownershipDelete.h>

#include <cstddef>
#include <utility>

namespace Qv {

template <class T>
class APtr;

/// The form in which a function returns an APtr.
template <class T>
class [[nodiscard]] APtrRet {
public:
    APtrRet( APtrRet&& other ) noexcept
        : _array( std::exchange( other._array, nullptr ) ) {}
    APtrRet( APtr<T> owner ) noexcept
        : _array( owner.release() ) {}
    APtrRet& operator=( const APtrRet& ) = delete;
    ~APtrRet() { Ownership::destroyArray( _array ); }

    /// Gives the array up to the caller.
    T* release() noexcept { return std::exchange( _array, nullptr ); }

private:
    T* _array;
};

/// Sole owner of a heap array, deleted with the array form. Copying and assigning move the
/// ownership and leave the source null.
template <class T>
class APtr {
public:
    APtr() noexcept
        : _array( nullptr ) {}
    explicit APtr( T* array ) noexcept
        : _array( array ) {}
    APtr( APtr& other ) noexcept
        : _array( other.release() ) {}
    APtr( APtr&& other ) noexcept
        : _array( other.release() ) {}
    APtr( APtrRet<T>&& other ) noexcept
        : _array( other.release() ) {}
    ~APtr() { Ownership::destroyArray( _array ); }

    APtr& operator=( APtr& other ) noexcept { return reset( other.release() ); }
    APtr& operator=( APtr&& other ) noexcept { return reset( other.release() ); }
    APtr& operator=( APtrRet<T>&& other ) noexcept { return reset( other.release() ); }

    /// Owns `array` from now on; deletes the former one.
    APtr& reset( T* array = nullptr ) noexcept {
        if( array != _array ) {
            Ownership::destroyArray( std::exchange( _array, array ) );
        }
        return *this;
    }
    /// Gives the array up to the caller; this pointer is null afterwards.
    [[nodiscard]] T* release() noexcept { return std::exchange( _array, nullptr ); }

    /// May be null; the array stays with this pointer.
    T* get() const noexcept { return _array; }
    T& operator[]( std::size_t index ) const noexcept { return _array[index]; }
    bool isNull() const noexcept { return _array == nullptr; }
    explicit operator bool() const noexcept { return _array != nullptr; }
    bool operator==( std::nullptr_t ) const noexcept { return isNull(); }

private:
    T* _array;
};

} // namespace Qv
