#pragma once

#include <base/init/inVariableBase.h>

namespace Qv {

/// How a variable's text is read; each answers false, and leaves `value`, when it can't be.
namespace InVariableText {

/// A whole number, where any but 0 means true, or "true" or "false" in any case.
QV_BASE_API bool parse( const char* text, bool& value ) noexcept;
/// A whole decimal number, with or without a sign. White space around it doesn't count; digits
/// alone do: "12abc", an empty text and a number that an int can't hold are refused.
QV_BASE_API bool parse( const char* text, int& value ) noexcept;
/// Any text is a value, the empty one too.
QV_BASE_API bool parse( const char* text, const char*& value ) noexcept;

} // namespace InVariableText

/// A configuration value with ordered sources, defined at file level after the package object,
/// which the frame resolves before that package's `initializePackage`. `T` is bool, int or const
/// char*.
///
///     InInit<QvInit::logger> package;
///     const InContextAlias<InInitArg, 1> logArg( "log:", "Log directory." );
///     const InContextAlias<InInitEnv, 0> logEnv( "QV_LOG_DIR", "Log directory" );
///     InVariable<const char*> logDir( "ombra::deployment::logDir", package, logArg, logEnv );
///
/// InVariableBase describes everything else.
template <class T>
class InVariable final : public InVariableBase {
public:
    InVariable(
        const char* key, InPackageInitBase& package, const InContextAliasBase& alias0 = _dummy,
        const InContextAliasBase& alias1 = _dummy, const InContextAliasBase& alias2 = _dummy,
        const InContextAliasBase& alias3 = _dummy, const InContextAliasBase& alias4 = _dummy,
        const InContextAliasBase& alias5 = _dummy, const InContextAliasBase& alias6 = _dummy,
        const InContextAliasBase& alias7 = _dummy, const InContextAliasBase& alias8 = _dummy,
        const InContextAliasBase& alias9 = _dummy )
        : InVariableBase( key, package,
                          { &alias0, &alias1, &alias2, &alias3, &alias4, &alias5, &alias6, &alias7,
                            &alias8, &alias9 } ) {}

    /// False, 0 or null unless valid. A text stays until the variable is resolved again.
    ///
    /// Cost: a plain read.
    T getValue() const noexcept { return _value; }

private:
    bool setValue( const char* text ) override { return InVariableText::parse( text, _value ); }
    void resetValue() noexcept override { _value = T(); }

    T _value = T();
};

} // namespace Qv
