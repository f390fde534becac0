#pragma once

#include <base/ownership/rcShdPtr.h>

namespace Qv {

/// The record behind strong and weak pointers to one object: an RCBase with a second, strong count.
/// It lives as long as any pointer of either kind holds it; the object lives while the strong
/// count isn't 0.
template <class Counter>
class RCSWCount final : public RCBase<Counter> {
public:
    /// Counts one strong reference more.
    void addStrong() noexcept { ++_strongCount; }
    /// Answers whether this was the last strong reference.
    [[nodiscard]] bool removeStrong() noexcept { return --_strongCount == 0; }
    int getStrongCount() const noexcept { return static_cast<int>( _strongCount ); }

    /// Takes a strong reference if there still is one; answers whether it did.
    [[nodiscard]] bool tryAddStrong() noexcept {
        if constexpr( requires( Counter & c, int& e ) { c.compareExchange( e, e ); } ) {
            int seen = _strongCount.get();
            while( seen != 0 ) {
                if( _strongCount.compareExchange( seen, seen + 1 ) ) {
                    return true;
                }
            }
            return false;
        } else {
            return _strongCount != 0 && ++_strongCount != 0;
        }
    }

private:
    Counter _strongCount{ 0 };
};

/// Base of an object that hands out strong and weak pointers.
template <class Counter>
class RCSWBase {
public:
    virtual ~RCSWBase() = default;

    const RCShdPtr<RCSWCount<Counter>>& getCounter() const noexcept { return _counter; }

protected:
    RCSWBase()
        : _counter( new RCSWCount<Counter> ) {}
    /// A copy is an object of its own.
    RCSWBase( const RCSWBase& )
        : RCSWBase() {}
    RCSWBase& operator=( const RCSWBase& ) noexcept { return *this; }

private:
    const RCShdPtr<RCSWCount<Counter>> _counter;
};

} // namespace Qv
