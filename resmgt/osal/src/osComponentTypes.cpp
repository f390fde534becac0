#include <resmgt/osal/osComponentTypes.h>

#include <base/containers/map.h>
#include <base/failure/assertions.h>
#include <resmgt/osal/osFilePath.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace Qv {

namespace {

constexpr const char* NAMES[] = { "FOLDER", "COMPOSITION", "GRAPH", "PROJECT",
                                  "USER",   "MACHINE",     "SETUP" };

struct Tables {
    Map<std::string, OsComponentTypes::ComponentType> types;
    Map<std::string, std::string> dependentTypes;
    Set<std::string> compoundExtensions;
    Set<std::string> managedExtensions;
    Set<std::string> specialObjectExtensions;
};

/// Made on first use, since upper layers may register from their own static objects.
Tables& tables() {
    static Tables instance;
    return instance;
}

} // namespace

void OsComponentTypes::registerExtensionType( const std::string& extension, ComponentType type ) {
    auto& extensions = tables().types;
    const auto it = extensions.find( extension );
    QV_ASSERT( it == extensions.end() );
    extensions.emplace( extension, type );
}

void OsComponentTypes::registerExtensionAndNameForDependentType( const std::string& extension,
                                                                 const std::string& name ) {
    tables().dependentTypes.emplace( extension, name );
}

void OsComponentTypes::registerExtensionForCompoundType( const std::string& extension ) {
    tables().compoundExtensions.insert( extension );
}

void OsComponentTypes::registerExtensionForManagedObjects( const std::string& extension ) {
    tables().managedExtensions.insert( extension );
}

void OsComponentTypes::registerExtensionForSpecialObjects( const std::string& extension ) {
    tables().specialObjectExtensions.insert( extension );
}

OsComponentTypes::ComponentType
OsComponentTypes::getTypeFromExtension( const std::string& extension ) {
    const auto found = tables().types.find( extension );
    return found == tables().types.end() ? UNKNOWN : found->second;
}

std::string OsComponentTypes::getExtensionFromType( ComponentType type ) {
    for( const auto& [extension, registeredType] : tables().types ) {
        if( registeredType == type ) {
            return extension;
        }
    }
    return std::string();
}

std::string OsComponentTypes::toString( ComponentType type ) {
    return type >= FOLDER && type <= SETUP ? NAMES[type] : "UNKNOWN";
}

OsComponentTypes::ComponentType OsComponentTypes::fromString( const std::string& text ) {
    const auto* const found = std::find( std::begin( NAMES ), std::end( NAMES ), text );
    return found == std::end( NAMES ) ? UNKNOWN
                                      : static_cast<ComponentType>( found - std::begin( NAMES ) );
}

bool OsComponentTypes::isDependent( const OsFilePath& path ) {
    return tables().dependentTypes.contains( path.getExtension() );
}

std::string OsComponentTypes::getDependentTypeName( const OsFilePath& path ) {
    const auto found = tables().dependentTypes.find( path.getExtension() );
    return found == tables().dependentTypes.end() ? std::string() : found->second;
}

bool OsComponentTypes::isCompound( const OsFilePath& path, bool treatAsFile ) {
    return !treatAsFile && tables().compoundExtensions.contains( path.getExtension() );
}

bool OsComponentTypes::isManaged( const OsFilePath& path ) {
    return tables().managedExtensions.contains( path.getExtension() );
}

Set<std::string> OsComponentTypes::getExtensionsForDependentTypes() {
    Set<std::string> extensions;
    for( const auto& [extension, name] : tables().dependentTypes ) {
        extensions.insert( extension );
    }
    return extensions;
}

const Set<std::string>& OsComponentTypes::getExtensionsForSpecialObjects() {
    return tables().specialObjectExtensions;
}

bool OsComponentTypes::isHierarchic( ComponentType type ) {
    return type != UNKNOWN;
}

bool OsComponentTypes::isLeaf( ComponentType type ) {
    return type != UNKNOWN && type != FOLDER;
}

bool OsComponentTypes::isGraphBased( ComponentType type ) {
    return type == COMPOSITION || type == GRAPH;
}

} // namespace Qv
