#pragma once

namespace Qv::Comp {

/// How a layer joins the picture below it.
enum class Operation { OVER, PLUS, MULTIPLY, SCREEN };

/// What is asked for of one layer.
struct LayerOptions {
    Operation operation = Operation::OVER;
    /// All of the layer is multiplied by this; 0 to 1.
    float opacity = 1.0F;
    /// By so many pixels of the frame it is moved to the right, and down.
    int offsetX = 0;
    int offsetY = 0;
};

} // namespace Qv::Comp
