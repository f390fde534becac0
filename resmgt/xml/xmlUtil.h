#pragma once

#include <resmgt/resmgtApi.h>

#include <string>

namespace Qv {

class DtTime;
class IxPixelFormat;
class Rational;
class XmlElement;
class XmlWriter;
template <class T>
struct GePoint3;

/// The form in which XML holds a value of the type `T`, as an element `tag`:
///
///     Rational            attributes "Num" and "Denom"
///     GePoint3<float>     elements "X", "Y" and "Z"
///     IxPixelFormat       elements "Comps" and "Depth"; an element "Ratio" as of a Rational
///     DtTime              elements "Numerator" and "Denominator" of the rate; "cHi" and "cLo", the
///                         high 32 bits of the index, with its sign, and the low ones, without
///
/// Errors: what is missing is an assertion, as is what IxPixelFormat doesn't take. Text that isn't
///         a number raises XmlEx::ExConversionError; coordinates that are none are written, but not
///         read back.
template <class T>
class XmlUtil;

template <>
class QV_RESMGT_API XmlUtil<Rational> {
public:
    static void toXml( XmlWriter& writer, const std::string& tag, const Rational& value );
    static Rational fromXml( const XmlElement& xml );
};

template <>
class QV_RESMGT_API XmlUtil<GePoint3<float>> {
public:
    static void toXml( XmlWriter& writer, const std::string& tag, const GePoint3<float>& value );
    static GePoint3<float> fromXml( const XmlElement& xml );
};

template <>
class QV_RESMGT_API XmlUtil<IxPixelFormat> {
public:
    static void toXml( XmlWriter& writer, const std::string& tag, const IxPixelFormat& value );
    static IxPixelFormat fromXml( const XmlElement& xml );
};

template <>
class QV_RESMGT_API XmlUtil<DtTime> {
public:
    /// Writes the value as an element of that tag.
    static void toXml( XmlWriter& writer, const std::string& tag, const DtTime& value );
    /// The value that the element holds.
    static DtTime fromXml( const XmlElement& xml );
};

} // namespace Qv
