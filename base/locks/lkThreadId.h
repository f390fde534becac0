#pragma once

#include <base/qvBaseApi.h>

#include <atomic>
#include <cstdint>
#include <iosfwd>

namespace Qv {

namespace ThreadNumber {

/// The calling thread's number, 0 until `get` has run in it.
extern QV_BASE_API thread_local constinit std::uint32_t current
#if defined( __linux__ )
    __attribute__( ( tls_model( "initial-exec" ) ) )
#endif
    ;

/// Asks the system and fills `current`.
QV_BASE_API std::uint32_t fetch() noexcept;

/// The calling thread's number as the system reports it, never 0.
inline std::uint32_t get() noexcept {
    const std::uint32_t number = current;
    return number != 0 ? number : fetch();
}

} // namespace ThreadNumber

/// A thread's identity.
///
/// The number is the system's own, as debuggers and process listings show it; the system may give
/// it to a new thread once its bearer has ended.
///
/// Threads: `isCurrentThread` may run while another thread sets or resets this identity, since it
///          can only answer true to the thread that stored itself. All else needs outer order.
/// Fork:    the child's only thread gets a number of its own and is another thread to everything
///          that remembers one. So a forked child may only exec, or use nothing that was locked,
///          waited on or filled for a thread before.
class QV_BASE_API LkThreadId {
public:
    /// Identities that no thread has.
    enum ReservedId { NO_THREAD = 0 };

    explicit constexpr LkThreadId( ReservedId id = NO_THREAD ) noexcept
        : _number( id ) {}
    /// A number of the system's, of 32 bits.
    explicit LkThreadId( unsigned long number ) noexcept
        : _number( static_cast<std::uint32_t>( number ) ) {}
    LkThreadId( const LkThreadId& other ) noexcept
        : _number( other.load() ) {}

    LkThreadId& operator=( const LkThreadId& other ) noexcept {
        _number.store( other.load(), std::memory_order_relaxed );
        return *this;
    }
    bool operator==( const LkThreadId& other ) const noexcept { return getNum() == other.getNum(); }
    bool operator<( const LkThreadId& other ) const noexcept { return getNum() < other.getNum(); }

    bool isCurrentThread() const noexcept { return load() == ThreadNumber::get(); }
    /// Takes the caller's identity.
    void setCurrentThread() noexcept {
        _number.store( ThreadNumber::get(), std::memory_order_relaxed );
    }
    /// Back to no thread.
    void reset() noexcept { _number.store( NO_THREAD, std::memory_order_relaxed ); }

    /// 0 for no thread.
    unsigned long getNum() const noexcept { return load(); }

private:
    std::uint32_t load() const noexcept { return _number.load( std::memory_order_relaxed ); }

    // Relaxed throughout: a thread compares with its own number, which only it can have stored.
    std::atomic<std::uint32_t> _number;
};

/// Writes the number.
QV_BASE_API std::ostream& operator<<( std::ostream& stream, const LkThreadId& id );

} // namespace Qv
