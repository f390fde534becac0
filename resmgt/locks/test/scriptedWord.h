#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <utility>

namespace Qv {

/// The head of an LkSListOf whose next swap on this thread is preceded by what the test wants
/// other threads to have done meanwhile.
class ScriptedWord {
public:
    explicit ScriptedWord( std::uint64_t value )
        : _value( value ) {}

    std::uint64_t load( std::memory_order order ) const { return _value.load( order ); }
    bool compare_exchange_strong( std::uint64_t& expected, std::uint64_t desired,
                                  std::memory_order success, std::memory_order failure ) {
        if( const auto script = std::exchange( beforeSwap, nullptr ) ) {
            script();
        }
        return _value.compare_exchange_strong( expected, desired, success, failure );
    }

    /// Run once, by the next swap.
    static inline thread_local std::function<void()> beforeSwap;

private:
    std::atomic<std::uint64_t> _value;
};

} // namespace Qv
