# zendro_wx: the window library; zendro_toolkit: what lies below it, for the native_*_gtk.cpp sources.
find_package(wxWidgets REQUIRED COMPONENTS xrc xml core base)
target_include_directories(zendro_wx SYSTEM INTERFACE ${wxWidgets_INCLUDE_DIRS})
target_compile_definitions(zendro_wx INTERFACE ${wxWidgets_DEFINITIONS})
target_compile_options(zendro_wx INTERFACE ${wxWidgets_CXX_FLAGS})
target_link_directories(zendro_wx INTERFACE ${wxWidgets_LIBRARY_DIRS})
target_link_libraries(zendro_wx INTERFACE ${wxWidgets_LIBRARIES})

pkg_check_modules(GTK REQUIRED IMPORTED_TARGET gtk+-3.0)
target_link_libraries(zendro_toolkit INTERFACE PkgConfig::GTK)
