#pragma once

#include <base/containers/set.h>
#include <resmgt/resmgtApi.h>

#include <string>

namespace Qv {

class OsFilePath;

/// Finds by a file name's extension what kind of document a path is. The extensions are registered
/// by the upper layers; this library names none.
///
/// Extensions: without the dot, as OsFilePath::getExtension returns them; case counts.
/// Errors:     none but the assertion of `registerExtensionType`.
/// Threads:    registration belongs to start-up, on one thread, before any look-up; look-ups are
///             for any thread then.
class QV_RESMGT_API OsComponentTypes {
public:
    /// What a component of a path stands for.
    enum ComponentType : int {
        UNKNOWN = -1,
        FOLDER,
        COMPOSITION,
        GRAPH,
        PROJECT,
        USER,
        MACHINE,
        SETUP
    };

    OsComponentTypes() = delete;

    /// Errors: an extension that has a type already is an assertion, even if it is the same type.
    static void registerExtensionType( const std::string& extension, ComponentType type );
    /// Here and below what is registered already stays as it is. `name` is the type's.
    static void registerExtensionAndNameForDependentType( const std::string& extension,
                                                          const std::string& name );
    /// Files with the extension are compound ones.
    static void registerExtensionForCompoundType( const std::string& extension );
    /// Files with the extension are managed objects.
    static void registerExtensionForManagedObjects( const std::string& extension );
    /// Files with the extension are special objects.
    static void registerExtensionForSpecialObjects( const std::string& extension );

    /// UNKNOWN if none was registered.
    static ComponentType getTypeFromExtension( const std::string& extension );
    /// The first in alphabetic order of those registered, or the empty text.
    static std::string getExtensionFromType( ComponentType type );
    /// The enumerator's name, "UNKNOWN" for any other value.
    static std::string toString( ComponentType type );
    /// The reverse; UNKNOWN for any other text.
    static ComponentType fromString( const std::string& text );

    static bool isDependent( const OsFilePath& path );
    /// The name that was registered for the path's extension, or the empty text.
    static std::string getDependentTypeName( const OsFilePath& path );
    /// Never, if the path is to be treated as a file.
    static bool isCompound( const OsFilePath& path, bool treatAsFile );
    static bool isManaged( const OsFilePath& path );
    static Set<std::string> getExtensionsForDependentTypes();
    static const Set<std::string>& getExtensionsForSpecialObjects();

    /// A leaf may be hierarchic too; a folder alone is hierarchic and no leaf.
    static bool isHierarchic( ComponentType type );
    static bool isLeaf( ComponentType type );
    static bool isGraphBased( ComponentType type );
};

} // namespace Qv
