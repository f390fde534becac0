#pragma once

#include <cstddef>
#include <ostream>
#include <string>

namespace Qv {

/// Text for dumps: numbers in the shortest form that reads back the same, whatever the stream's
/// locale and flags are.
std::string toRnText( float number );
std::string toRnText( double number );

/// Writes the scene of a histogram in the Inventor format: begin, points, lines, end.
class RnInventorScene {
public:
    explicit RnInventorScene( std::ostream& stream );

    void beginPoints();
    void addPoint( double x, double y, double z );
    void endPoints();
    /// `vertices` are pairs of points, each as "x y z, ", `nbLines` of them; `colours` stands
    /// behind them. Ends the scene.
    void addLines( const char* vertices, int nbLines, const char* colours = "" );

private:
    std::ostream& _stream;
};

} // namespace Qv
