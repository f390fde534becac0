# Gives the targets QVresmgt::QVbase, QVresmgt::QVpluginAPI and QVresmgt::QVresmgt, each with those
# that it needs.
include( "${CMAKE_CURRENT_LIST_DIR}/QVresmgtTargets.cmake" )
