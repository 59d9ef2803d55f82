# zendro_wx: the window library; zendro_toolkit: what lies below it, for the native_*_msw.cpp sources.
find_package(wxWidgets CONFIG REQUIRED COMPONENTS mono)
target_link_libraries(zendro_wx INTERFACE wx::mono)
# The library is built without its debugging checks and asks that of its users as well.
target_compile_definitions(zendro_wx INTERFACE wxDEBUG_LEVEL=0)

target_link_libraries(zendro_toolkit INTERFACE comctl32 uxtheme dwmapi)
