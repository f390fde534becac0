#include <resmgt/xml/xmlUtil.h>

#include <base/failure/assertions.h>
#include <base/values/dtTime.h>
#include <base/values/gePoint3.h>
#include <base/values/ixPixelFormat.h>
#include <resmgt/xml/xmlElement.h>
#include <resmgt/xml/xmlWriter.h>

#include <cstdint>

namespace Qv {

namespace {

constexpr const char* RATIONAL_NUMERATOR = "Num";
constexpr const char* RATIONAL_DENOMINATOR = "Denom";
constexpr const char* POINT_X = "X";
constexpr const char* POINT_Y = "Y";
constexpr const char* POINT_Z = "Z";
constexpr const char* FORMAT_COMPS = "Comps";
constexpr const char* FORMAT_DEPTH = "Depth";
constexpr const char* FORMAT_RATIO = "Ratio";
constexpr const char* TIME_NUMERATOR = "Numerator";
constexpr const char* TIME_DENOMINATOR = "Denominator";
constexpr const char* TIME_HIGH = "cHi";
constexpr const char* TIME_LOW = "cLo";

constexpr int HALF = 32;

RCShdPtr<XmlElement> getChild( const XmlElement& xml, const char* tag ) {
    const RCShdPtr<XmlElement> child = xml.getElementByTagName( tag );
    QV_ASSERT_TEXT( !child.isNull(),
                    ( "xml.getElementByTagName( \"" + std::string( tag ) + "\" )" ).c_str() );
    return child;
}

template <class T>
T read( const XmlElement& xml, const char* tag ) {
    T value{};
    getChild( xml, tag )->getData( value );
    return value;
}

} // namespace

void XmlUtil<Rational>::toXml( XmlWriter& writer, const std::string& tag, const Rational& value ) {
    const XmlWriter::ElementGuard element( writer, tag );
    writer.writeAttrib( RATIONAL_NUMERATOR, value.getNumerator() );
    writer.writeAttrib( RATIONAL_DENOMINATOR, value.getDenominator() );
}

Rational XmlUtil<Rational>::fromXml( const XmlElement& xml ) {
    int numerator = 0;
    int denominator = 0;
    QV_ASSERT( xml.getAttribute( RATIONAL_NUMERATOR, numerator ) );
    QV_ASSERT( xml.getAttribute( RATIONAL_DENOMINATOR, denominator ) );
    return { numerator, denominator };
}

void XmlUtil<GePoint3<float>>::toXml( XmlWriter& writer, const std::string& tag,
                                      const GePoint3<float>& value ) {
    const XmlWriter::ElementGuard element( writer, tag );
    writer.writeTag( POINT_X, value.x );
    writer.writeTag( POINT_Y, value.y );
    writer.writeTag( POINT_Z, value.z );
}

GePoint3<float> XmlUtil<GePoint3<float>>::fromXml( const XmlElement& xml ) {
    return { read<float>( xml, POINT_X ), read<float>( xml, POINT_Y ),
             read<float>( xml, POINT_Z ) };
}

void XmlUtil<IxPixelFormat>::toXml( XmlWriter& writer, const std::string& tag,
                                    const IxPixelFormat& value ) {
    const XmlWriter::ElementGuard element( writer, tag );
    writer.writeTag( FORMAT_COMPS, value.getComps() );
    writer.writeTag( FORMAT_DEPTH, value.getDepth() );
    XmlUtil<Rational>::toXml( writer, FORMAT_RATIO, value.getAspectRatio() );
}

IxPixelFormat XmlUtil<IxPixelFormat>::fromXml( const XmlElement& xml ) {
    return { static_cast<IxPixelFormat::Comps>( read<int>( xml, FORMAT_COMPS ) ),
             static_cast<IxPixelFormat::Depth>( read<int>( xml, FORMAT_DEPTH ) ),
             XmlUtil<Rational>::fromXml( *getChild( xml, FORMAT_RATIO ) ) };
}

void XmlUtil<DtTime>::toXml( XmlWriter& writer, const std::string& tag, const DtTime& value ) {
    const std::int64_t count = value.getIndex();
    const XmlWriter::ElementGuard element( writer, tag );
    writer.writeTag( TIME_NUMERATOR, value.getRate().getNumerator() );
    writer.writeTag( TIME_DENOMINATOR, value.getRate().getDenominator() );
    writer.writeTag( TIME_HIGH, static_cast<std::int32_t>( count >> HALF ) );
    writer.writeTag( TIME_LOW, static_cast<std::uint32_t>( count ) );
}

DtTime XmlUtil<DtTime>::fromXml( const XmlElement& xml ) {
    const std::int64_t high = read<int>( xml, TIME_HIGH );
    const std::int64_t low = read<unsigned int>( xml, TIME_LOW );
    return { DtTimeIndex( high * ( std::int64_t{ 1 } << HALF ) + low ),
             read<int>( xml, TIME_NUMERATOR ), read<int>( xml, TIME_DENOMINATOR ) };
}

} // namespace Qv
