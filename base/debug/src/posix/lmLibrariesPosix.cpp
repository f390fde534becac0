#include <base/debug/lmLibraries.h>
#include <base/text/exStdout.h>
#include <base/text/printable.h>

#include <link.h>

#include <ostream>
#include <sstream>
#include <string>

namespace Qv {

namespace {

int writeModule( dl_phdr_info* module, std::size_t, void* stream ) {
    // The program's own name is empty.
    const char* const path = *module->dlpi_name != 0 ? module->dlpi_name : "(program)";
    *static_cast<std::ostream*>( stream )
        << reinterpret_cast<const void*>( module->dlpi_addr ) << "  " << path << '\n';
    return 0;
}

std::string listOfModules() {
    // The loader's lock is held during the walk: nothing that may load must be called then.
    std::ostringstream text;
    ::dl_iterate_phdr( &writeModule, &text );
    return Printable::makeText( text.view() );
}

} // namespace

void LmLibraries::dumpList( std::ostream& stream ) {
    stream << listOfModules() << std::flush;
}

void LmLibraries::dumpList() {
    ExStdout::printAtomically( listOfModules().c_str() );
}

} // namespace Qv
