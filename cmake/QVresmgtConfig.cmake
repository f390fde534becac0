# Gives the targets QVresmgt::QVbase, QVresmgt::QVpluginAPI, QVresmgt::QVresmgt and
# QVresmgt::QVmediaTiles, each with those that it needs.
include( "${CMAKE_CURRENT_LIST_DIR}/QVresmgtTargets.cmake" )
