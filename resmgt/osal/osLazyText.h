#pragma once

#include <atomic>
#include <memory>

namespace Qv {

/// A text that follows from its owner's value: made when it is first asked for, then kept.
///
/// Copying: a copy makes its own.
/// Threads: `get` is for any number at once, like whatever else is const; the rest isn't.
/// Cost:    once it is made, a load.
template <class Text>
class OsLazyText {
public:
    OsLazyText() = default;
    OsLazyText( const OsLazyText& ) noexcept {}
    OsLazyText( OsLazyText&& other ) noexcept
        : _text( other.release() ) {}
    OsLazyText& operator=( const OsLazyText& other ) noexcept {
        if( this != &other ) {
            clear();
        }
        return *this;
    }
    OsLazyText& operator=( OsLazyText&& other ) noexcept {
        const std::unique_ptr<const Text> former( release() );
        _text.store( other.release(), std::memory_order_relaxed );
        return *this;
    }
    ~OsLazyText() { clear(); }

    /// The text that `make` returns, by the first thread that asks. It stays until the owner
    /// changes.
    template <class Make>
    const Text& get( Make make ) const {
        // Acquires what the thread that made the text released by the exchange.
        const Text* text = _text.load( std::memory_order_acquire );
        if( text == nullptr ) {
            auto made = std::make_unique<const Text>( make() );
            if( _text.compare_exchange_strong( text, made.get(), std::memory_order_release,
                                               std::memory_order_acquire ) ) {
                text = made.release();
            }
        }
        return *text;
    }
    /// When the owner's value changes.
    void clear() noexcept { delete release(); }

private:
    // Relaxed, since who changes the owner is alone with it.
    const Text* release() noexcept { return _text.exchange( nullptr, std::memory_order_relaxed ); }

    mutable std::atomic<const Text*> _text{ nullptr };
};

} // namespace Qv
