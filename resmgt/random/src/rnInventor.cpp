#include <resmgt/random/src/rnInventor.h>

#include <charconv>

namespace Qv {

namespace {

template <class T>
std::string toShortestText( T number ) {
    char text[32];
    return { text, std::to_chars( text, text + sizeof text, number ).ptr };
}

} // namespace

std::string toRnText( float number ) {
    return toShortestText( number );
}

std::string toRnText( double number ) {
    return toShortestText( number );
}

RnInventorScene::RnInventorScene( std::ostream& stream )
    : _stream( stream ) {
    _stream << "Separator { \n"
               "  LightModel { model  BASE_COLOR }\n"
               "  DrawStyle { pointSize 2 }\n";
}

void RnInventorScene::beginPoints() {
    _stream << "  PointSet { vertexProperty VertexProperty { vertex [ ";
}

void RnInventorScene::addPoint( double x, double y, double z ) {
    _stream << toRnText( x ) + ' ' + toRnText( y ) + ' ' + toRnText( z ) + ", ";
}

void RnInventorScene::endPoints() {
    _stream << "] } }\n";
}

void RnInventorScene::addLines( const char* vertices, int nbLines, const char* colours ) {
    std::string counts = "numVertices [ 2";
    for( int i = 1; i < nbLines; ++i ) {
        counts += ", 2";
    }
    _stream << "  LineSet { vertexProperty VertexProperty { vertex [ " << vertices << "] "
            << colours << "} startIndex 0 " << counts << " ] } }\n";
}

} // namespace Qv
