#pragma once

#include <atomic>

namespace Qv {

/// An integer that many threads count with. Every change is one atomic read-modify-write.
///
/// Order: an increment orders nothing (who shares an object already sees it); a decrement releases
/// the caller's writes and acquires those of all earlier decrements, so that the thread that
/// reaches zero may destroy what was counted.
template <class T>
class LkCounter {
public:
    LkCounter() noexcept
        : _value( 0 ) {}
    explicit LkCounter( T value ) noexcept
        : _value( value ) {}
    LkCounter( const LkCounter& ) = delete;
    LkCounter& operator=( const LkCounter& ) = delete;

    /// The value, with all that was done before it was written.
    T get() const noexcept { return _value.load( std::memory_order_acquire ); }
    operator T() const noexcept { return get(); }

    /// Both return the new value.
    T operator++() noexcept { return _value.fetch_add( 1, std::memory_order_relaxed ) + 1; }
    T operator--() noexcept { return _value.fetch_sub( 1, std::memory_order_acq_rel ) - 1; }

    /// Stores `desired` if the value is `expected` and answers whether it was; if not, `expected`
    /// becomes the value found.
    bool compareExchange( T& expected, T desired ) noexcept {
        return _value.compare_exchange_strong( expected, desired, std::memory_order_acq_rel,
                                               std::memory_order_acquire );
    }

private:
    std::atomic<T> _value;
};

} // namespace Qv
