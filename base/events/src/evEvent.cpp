#include <base/events/evEvent.h>

#include <base/events/evRequestEvent.h>

#include <istream>
#include <ostream>
#include <string>

namespace Qv {

EvEvent::~EvEvent() = default;

EvRequestEvent::EvRequestEvent() = default;
EvRequestEvent::~EvRequestEvent() = default;

const char* EvRequestEvent::getClassName() const {
    return "EvRequestEvent";
}

void EvRequestEvent::dump( std::ostream& stream ) const {
    stream << getClassName();
}

void EvRequestEvent::read( std::istream& stream ) {
    std::string name;
    if( stream >> name && name != getClassName() ) {
        stream.setstate( std::ios_base::failbit );
    }
}

} // namespace Qv
