#pragma once

#include <base/init/inContextAlias.h>
#include <base/init/inInitGuard.h>
#include <base/init/inPackageInit.h>
#include <base/init/inVariable.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// The package that a program's own settings belong to, for one that needs no package of its own.
/// It is defined at file level, before them; `main` begins with the guard:
///
///     InProgram program( "painter" );
///     const InVariable<int> width( "painter::width", program, InArgument( "width:" ),
///                                  InEnvironment( "PAINTER_WIDTH" ), InDefault( "3" ) );
///
///     int main( int argc, char** argv ) {
///         const InInitGuard packages( argc, argv );
///         paint( width.getValue() );
///     }
///
/// Sources:  those that the setting names, and the two init files under its key: see
///           InVariableBase, and docs/settings.md for the people who use the program.
/// Start:    behind all packages of the libraries.
/// Number:   one in a process; a second one is an assertion.
class QV_RESMGT_API InProgram final : public InPackageInit {
public:
    /// `name` is kept, not copied.
    explicit InProgram( const char* name );
    ~InProgram() override;

    void preInitializePackage() override;
    void postInitializePackage() override;
    void initializePackage() override;
    void finalizePackage() override;
    void setPackageState( bool isStarted ) override;
    const std::type_info* getIdentity() const override;
};

} // namespace Qv
