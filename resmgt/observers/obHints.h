#pragma once

#include <base/containers/vector.h>
#include <base/ownership/rcShdPtr.h>
#include <resmgt/observers/obHint.h>

#include <concepts>
#include <iosfwd>
#include <typeinfo>
#include <utility>

namespace Qv {

/// The content of one notification: hints in the order in which they were added. Copies share them.
///
///     ObHints hints;
///     hints.add<ObValueHint>().add<PixelsHint>( box );
///     if( const PixelsHint* pixels = hints.find<PixelsHint>() ) ...
///
/// Types:   compared exactly: an ObValueHint isn't found as an ObUpdateHint. One type counts as the
///          same in all libraries of the process.
/// Threads: as any value; copies may be used on different threads.
class QV_RESMGT_API ObHints {
public:
    /// Adds one more hint, made of the arguments; an equal one stays beside it.
    template <std::derived_from<ObHint> T, class... Arguments>
    ObHints& add( Arguments&&... arguments ) {
        _hints.push_back( RCShdPtr<ObHint>( new T( std::forward<Arguments>( arguments )... ) ) );
        return *this;
    }

    bool isEmpty() const noexcept { return _hints.isEmpty(); }
    /// Leaves no hint.
    void clear() noexcept { _hints.clear(); }
    bool hasHint( const std::type_info& type ) const noexcept {
        return findExact( type ) != nullptr;
    }
    /// The first hint of exactly this type, null if there is none. It lives as long as a copy of
    /// these hints.
    template <std::derived_from<ObHint> T>
    const T* find() const noexcept {
        return static_cast<const T*>( findExact( typeid( T ) ) );
    }
    const Vector<RCShdPtr<ObHint>>& getAll() const noexcept { return _hints; }

    /// "#hints = " and the number, then for each "hint = " and its type's name as in the source;
    /// one a line.
    std::ostream& dump( std::ostream& stream ) const;

private:
    const ObHint* findExact( const std::type_info& type ) const noexcept;

    Vector<RCShdPtr<ObHint>> _hints;
};

QV_RESMGT_API std::ostream& operator<<( std::ostream& stream, const ObHints& hints );

} // namespace Qv
