#include <resmgt/observers/obHints.h>

#include <base/text/typeName.h>

#include <algorithm>
#include <ostream>

namespace Qv {

ObHint::~ObHint() = default;
ObSubjectHint::~ObSubjectHint() = default;
ObDestroyHint::~ObDestroyHint() = default;
ObUpdateHint::~ObUpdateHint() = default;
ObStructureHint::~ObStructureHint() = default;
ObValueHint::~ObValueHint() = default;
ObSelectionHint::~ObSelectionHint() = default;
ObPositionHint::~ObPositionHint() = default;

const ObHint* ObHints::findExact( const std::type_info& type ) const noexcept {
    const auto found =
        std::find_if( _hints.begin(), _hints.end(), [&type]( const RCShdPtr<ObHint>& hint ) {
            const ObHint& object = *hint;
            return typeid( object ) == type;
        } );
    return found == _hints.end() ? nullptr : found->get();
}

std::ostream& ObHints::dump( std::ostream& stream ) const {
    stream << "#hints = " << _hints.size() << '\n';
    for( const RCShdPtr<ObHint>& hint : _hints ) {
        const ObHint& object = *hint;
        stream << "hint = " << TypeName::get( typeid( object ) ) << '\n';
    }
    return stream;
}

std::ostream& operator<<( std::ostream& stream, const ObHints& hints ) {
    return hints.dump( stream );
}

} // namespace Qv
