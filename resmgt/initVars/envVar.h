#pragma once

#include <base/qvBaseApi.h>
#include <resmgt/resmgtApi.h>

#include <iosfwd>

namespace Qv {

/// A tuning value that engineers set in the process environment. It is defined at file level beside
/// the code that uses it, and is listed by EnvVarRegistry. What users set is an InVariable instead.
///
///     const EnvVar traceFile( __FILE__, "QV_TRACE_FILE", nullptr );
///
/// Value:    read once, at construction; a later change of the environment shows after `refresh`.
///           Set to the empty text is set.
/// Errors:   none: a malformed number is what its class says. Without memory for its place in the
///           registry a variable works without being listed.
/// Lifetime: all texts are kept, not copied. A variable may be built before the packages start and
///           outlive them.
/// Threads:  `getValue` needs no lock beside others. Nothing else may run beside construction,
///           destruction, `refresh`, or a change of the environment.
class QV_RESMGT_API EnvVar {
public:
    /// `fileName` is the source file that defines the variable; `defaultValue` may be null.
    EnvVar( const char* fileName, const char* name, const char* defaultValue );
    EnvVar( const EnvVar& ) = delete;
    EnvVar& operator=( const EnvVar& ) = delete;
    virtual ~EnvVar();

    /// Reads the environment again.
    virtual void refresh();
    /// One line without its end: name, the environment's text and the default, "NIL" for none.
    ///                           Characters that a terminal would take for a command are replaced,
    ///                           see Printable::makeLine.
    virtual void dump( std::ostream& stream ) const;

    const char* getFileName() const noexcept { return _fileName; }
    const char* getName() const noexcept { return _name; }
    /// The environment's text, or the default when the variable is unset.
    const char* getValue() const noexcept { return _value != nullptr ? _value : _defaultValue; }
    /// The environment's text, null when the variable is unset.
    const char* getText() const noexcept { return _value; }

    /// Changes the process environment by "NAME=text", which it copies; "NAME=" sets the empty
    /// text, "NAME" alone takes the variable away. 0 on success.
    static int putEnv( const char* assignment );

protected:
    /// The head of a dump: the name in its field.
    void dumpName( std::ostream& stream ) const;

private:
    const char* const _fileName;
    const char* const _name;
    char* _value;
    const char* const _defaultValue;
};

QV_RESMGT_API std::ostream& operator<<( std::ostream& stream, const EnvVar& variable );

/// The common part of all kinds of numbers. `Number` is int, unsigned long long or double.
template <class Number>
class QV_TEMPLATE_API EnvNumberVar : public EnvVar {
public:
    EnvNumberVar( const char* fileName, const char* name, Number defaultValue );

    void refresh() override;
    void dump( std::ostream& stream ) const override;

    Number getValue() const noexcept { return _number; }

private:
    Number _number;
    const Number _defaultNumber;
};

extern template class EnvNumberVar<int>;
extern template class EnvNumberVar<unsigned long long>;
extern template class EnvNumberVar<double>;

/// A whole number: the digits at the head of the text, after blanks and a sign. 0 without digits;
/// beyond the range of int its nearest end.
class QV_RESMGT_API EnvIntVar : public EnvNumberVar<int> {
public:
    /// See EnvNumberVar.
    using EnvNumberVar::EnvNumberVar;
};

/// The same without a sign: the largest number for one beyond the range. As a stream reads it, a
/// minus sign counts modulo 2^64: "-1" is the largest number.
class QV_RESMGT_API EnvUInt64Var : public EnvNumberVar<unsigned long long> {
public:
    /// See EnvNumberVar.
    using EnvNumberVar::EnvNumberVar;
};

/// A number with a decimal point, whatever the locale: the longest head of the text that is one,
/// also with an exponent, "inf", "nan" or hexadecimal. 0 without one; an infinity beyond the range.
class QV_RESMGT_API EnvDoubleVar : public EnvNumberVar<double> {
public:
    /// See EnvNumberVar.
    using EnvNumberVar::EnvNumberVar;
};

} // namespace Qv
