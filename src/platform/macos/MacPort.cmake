# The macOS port (included from src/CMakeLists.txt when building on macOS): the Objective-C++ backends, compiled
# with ARC and linked against the system frameworks; Sparkle when it is found; and the media adapter library
# that goes into the bundle's resources.

file(GLOB TAMSINVALE_MACOS_SOURCES CONFIGURE_DEPENDS
    ${CMAKE_CURRENT_SOURCE_DIR}/platform/macos/*.mm ${CMAKE_CURRENT_SOURCE_DIR}/platform/macos/*.h)

# Sparkle: a framework the developer puts in place (the release from sparkle-project.org in ~/Library/Frameworks
# or /Library/Frameworks, or its path in TAMSINVALE_SPARKLE_FRAMEWORK), and the updater's configuration: the
# appcast address and the EdDSA public key of the signed updates. Without all three the bundle has no updater and
# "Check for Updates…" is not offered (Sparkle would otherwise greet every start with an error).
find_library(TAMSINVALE_SPARKLE_FRAMEWORK Sparkle
    PATHS $ENV{HOME}/Library/Frameworks /Library/Frameworks
    DOC "Sparkle.framework (optional: the updater is built only when it is found)")
set(TAMSINVALE_SPARKLE_FEED_URL "" CACHE STRING "Sparkle appcast address (SUFeedURL)")
set(TAMSINVALE_SPARKLE_PUBLIC_KEY "" CACHE STRING "Sparkle EdDSA public key (SUPublicEDKey)")
if(TAMSINVALE_SPARKLE_FRAMEWORK AND TAMSINVALE_SPARKLE_FEED_URL AND TAMSINVALE_SPARKLE_PUBLIC_KEY)
    set(TAMSINVALE_HAVE_SPARKLE ON)
    message(STATUS "Sparkle: ${TAMSINVALE_SPARKLE_FRAMEWORK}, feed ${TAMSINVALE_SPARKLE_FEED_URL}")
else()
    set(TAMSINVALE_HAVE_SPARKLE OFF)
    list(FILTER TAMSINVALE_MACOS_SOURCES EXCLUDE REGEX ".*/SparkleUpdater\\.(mm|h)$")
    message(STATUS "Sparkle: framework, TAMSINVALE_SPARKLE_FEED_URL or TAMSINVALE_SPARKLE_PUBLIC_KEY missing; "
        "the bundle is built without an updater")
endif()

add_library(tamsinvale_macos STATIC ${TAMSINVALE_MACOS_SOURCES})
target_compile_options(tamsinvale_macos PRIVATE $<$<COMPILE_LANGUAGE:OBJCXX>:-fobjc-arc>)
target_link_libraries(tamsinvale_macos
    PUBLIC tamsinvale_platform Qt6::Core Qt6::Gui Qt6::Widgets
    PRIVATE tamsinvale_warnings
        "-framework AppKit" "-framework ApplicationServices" "-framework Carbon" "-framework CoreFoundation"
        "-framework CoreGraphics" "-framework Foundation" "-framework ImageIO" "-framework QuartzCore"
        "-framework ServiceManagement" "-framework UniformTypeIdentifiers")
if(TAMSINVALE_HAVE_SPARKLE)
    # <Sparkle/Sparkle.h> is found through the folder that holds the framework.
    get_filename_component(sparkle_folder ${TAMSINVALE_SPARKLE_FRAMEWORK} DIRECTORY)
    target_compile_options(tamsinvale_macos PRIVATE -F${sparkle_folder})
    target_link_libraries(tamsinvale_macos PRIVATE ${TAMSINVALE_SPARKLE_FRAMEWORK})
endif()

# libMediaRemoteAdapter.dylib: loaded by /usr/bin/perl, never linked into the application.
add_library(tamsinvale_media_adapter SHARED ${CMAKE_CURRENT_SOURCE_DIR}/platform/macos/mediaadapter/MediaRemoteAdapter.mm)
# Plain Objective-C++ without Qt: no moc, and ARC only where the language is Objective-C++.
set_target_properties(tamsinvale_media_adapter PROPERTIES OUTPUT_NAME MediaRemoteAdapter PREFIX lib SUFFIX .dylib
    AUTOMOC OFF)
target_compile_options(tamsinvale_media_adapter PRIVATE $<$<COMPILE_LANGUAGE:OBJCXX>:-fobjc-arc>)
target_link_libraries(tamsinvale_media_adapter PRIVATE tamsinvale_warnings "-framework CoreFoundation" "-framework Foundation")
