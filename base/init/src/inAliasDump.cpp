#include <base/init/src/inAliasDump.h>

#include <base/init/inVariableBase.h>
#include <base/text/printable.h>

#include <map>
#include <ostream>
#include <string>
#include <utility>

namespace Qv {

namespace {

/// By priority, the highest first, and then by the source's name.
using SourceKind = std::pair<int, std::string>;
using Uses = std::vector<std::pair<const InContextAliasBase*, const InVariableBase*>>;

std::map<SourceKind, Uses> sortBySource( const std::vector<InPackageInit*>& packages ) {
    std::map<SourceKind, Uses> uses;
    for( const InPackageInit* const package : packages ) {
        for( const InVariableBase* const variable : package->getVariables() ) {
            for( const InContextAliasBase* const alias : variable->getSources() ) {
                uses[{ -alias->getPriority(), alias->getSourceString() }].emplace_back( alias,
                                                                                        variable );
            }
        }
    }
    return uses;
}

} // namespace

void dumpAliases( std::ostream& stream, const std::vector<InPackageInit*>& packages ) {
    for( const auto& [kind, uses] : sortBySource( packages ) ) {
        stream << "Context aliases of type: : " << kind.second << '\n';
        for( const auto& [alias, variable] : uses ) {
            stream << "Key             : " << alias->getKey() << '\n'
                   << "     Description: " << Printable::makeLine( alias->getDescription() ) << '\n'
                   << "     Value      : "
                   << Printable::makeLine( alias->isValid() ? alias->getValue()
                                                            : "(uninitialized)" )
                   << '\n'
                   << "     Variable   : " << variable->getKey()
                   << ( variable->getOrigin() == alias ? ", which takes it\n" : "\n" );
        }
        uses.front().first->dumpUnasked( stream );
        stream << "----\n";
    }
}

} // namespace Qv
