#pragma once

#include <functional>

namespace Qv {

/// A pointer that may stand in the library's containers, as in `List<UPtr<XmlAttribute>>`. It is a
/// plain value; the pointee belongs to whoever owns the container.
template <class T>
class UPtr {
public:
    UPtr() noexcept = default;
    explicit( false ) UPtr( T* pointee ) noexcept
        : _pointee( pointee ) {}

    /// May be null.
    T* get() const noexcept { return _pointee; }
    T& operator*() const noexcept { return *_pointee; }
    T* operator->() const noexcept { return _pointee; }
    bool isNull() const noexcept { return _pointee == nullptr; }
    explicit operator bool() const noexcept { return _pointee != nullptr; }
    bool operator==( const UPtr& ) const noexcept = default;
    /// The order of the addresses, also of objects that have nothing to do with each other.
    bool operator<( const UPtr& other ) const noexcept {
        return std::less<T*>()( _pointee, other._pointee );
    }

private:
    T* _pointee = nullptr;
};

} // namespace Qv
