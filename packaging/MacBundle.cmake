# Tamsinvale.app (included from src/CMakeLists.txt on macOS, after the `tamsinvale` target): the Info.plist, the
# icon made from the same drawing as the Linux icons, the media adapter in Contents/Resources, Qt and the other
# libraries deployed into the bundle by macdeployqt, and an ad-hoc signature over all of it.

set(TAMSINVALE_BUNDLE_EXECUTABLE Tamsinvale)
set_target_properties(tamsinvale PROPERTIES OUTPUT_NAME ${TAMSINVALE_BUNDLE_EXECUTABLE})

# The updater's configuration (src/platform/macos/MacPort.cmake decides whether there is one).
set(TAMSINVALE_SPARKLE_PLIST_KEYS "")
if(TAMSINVALE_HAVE_SPARKLE)
    string(APPEND TAMSINVALE_SPARKLE_PLIST_KEYS
        "\t<key>SUFeedURL</key>\n\t<string>${TAMSINVALE_SPARKLE_FEED_URL}</string>\n"
        "\t<key>SUPublicEDKey</key>\n\t<string>${TAMSINVALE_SPARKLE_PUBLIC_KEY}</string>\n"
        "\t<key>SUEnableAutomaticChecks</key>\n\t<true/>\n")
endif()
set(TAMSINVALE_INFO_PLIST ${CMAKE_CURRENT_BINARY_DIR}/bundle/Info.plist)
configure_file(${PROJECT_SOURCE_DIR}/packaging/MacInfo.plist.in ${TAMSINVALE_INFO_PLIST} @ONLY)
set_target_properties(tamsinvale PROPERTIES MACOSX_BUNDLE_INFO_PLIST ${TAMSINVALE_INFO_PLIST})

# The icon: the scalable drawing (the small one below 32 px, as on Linux) rendered at every size an .icns holds,
# then packed by iconutil.
find_program(RSVG_CONVERT rsvg-convert REQUIRED)
find_program(ICONUTIL iconutil REQUIRED)
set(iconset ${CMAKE_CURRENT_BINARY_DIR}/bundle/Tamsinvale.iconset)
set(icns ${CMAKE_CURRENT_BINARY_DIR}/bundle/Tamsinvale.icns)
set(icon_commands)
set(icon_sources ${PROJECT_SOURCE_DIR}/data/icons/org.tamsinvale.Tamsinvale.svg
    ${PROJECT_SOURCE_DIR}/data/icons/org.tamsinvale.Tamsinvale-small.svg)
# name:pixels — the points of each entry and its @2x twin.
foreach(entry 16x16:16 16x16@2x:32 32x32:32 32x32@2x:64 128x128:128 128x128@2x:256 256x256:256 256x256@2x:512
        512x512:512 512x512@2x:1024)
    string(REPLACE ":" ";" parts ${entry})
    list(GET parts 0 name)
    list(GET parts 1 pixels)
    if(pixels LESS 32)
        set(source ${PROJECT_SOURCE_DIR}/data/icons/org.tamsinvale.Tamsinvale-small.svg)
    else()
        set(source ${PROJECT_SOURCE_DIR}/data/icons/org.tamsinvale.Tamsinvale.svg)
    endif()
    list(APPEND icon_commands COMMAND ${RSVG_CONVERT} --width=${pixels} --height=${pixels}
        --output=${iconset}/icon_${name}.png ${source})
endforeach()
add_custom_command(OUTPUT ${icns}
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${iconset}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${iconset}
    ${icon_commands}
    COMMAND ${ICONUTIL} --convert icns --output ${icns} ${iconset}
    DEPENDS ${icon_sources}
    COMMENT "Making Tamsinvale.icns")
set_source_files_properties(${icns} PROPERTIES MACOSX_PACKAGE_LOCATION Resources)
target_sources(tamsinvale PRIVATE ${icns})

# After each link: the adapter into Resources, Qt and the other libraries into Frameworks, then the signature.
# macdeployqt sits in the Qt installation's bin folder (Qt6_DIR is <prefix>/lib/cmake/Qt6); Homebrew also links
# it into its own bin folder, which is on the PATH.
find_program(MACDEPLOYQT macdeployqt HINTS ${Qt6_DIR}/../../../bin REQUIRED)
find_program(CODESIGN codesign REQUIRED)
add_dependencies(tamsinvale tamsinvale_media_adapter)
set(bundle_dir $<TARGET_BUNDLE_DIR:tamsinvale>)
set(deploy_commands
    COMMAND ${CMAKE_COMMAND} -E make_directory ${bundle_dir}/Contents/Resources
    COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_FILE:tamsinvale_media_adapter>
        ${bundle_dir}/Contents/Resources/libMediaRemoteAdapter.dylib)
if(TAMSINVALE_HAVE_SPARKLE)
    # Sparkle is loaded from the bundle, next to the Qt frameworks.
    list(APPEND deploy_commands
        COMMAND ${CMAKE_COMMAND} -E make_directory ${bundle_dir}/Contents/Frameworks
        COMMAND rsync -a --delete ${TAMSINVALE_SPARKLE_FRAMEWORK} ${bundle_dir}/Contents/Frameworks/)
    set_target_properties(tamsinvale PROPERTIES BUILD_RPATH "@executable_path/../Frameworks"
        INSTALL_RPATH "@executable_path/../Frameworks")
endif()
add_custom_command(TARGET tamsinvale POST_BUILD
    ${deploy_commands}
    COMMAND ${MACDEPLOYQT} ${bundle_dir} -verbose=1
    # The adapter is loaded into /usr/bin/perl: it needs a signature of its own (Resources are only hashed).
    COMMAND ${CODESIGN} --force --sign - ${bundle_dir}/Contents/Resources/libMediaRemoteAdapter.dylib
    COMMAND ${CODESIGN} --force --deep --sign - ${bundle_dir}
    COMMAND ${CODESIGN} --verify --deep --strict ${bundle_dir}
    COMMENT "Deploying Qt into Tamsinvale.app and signing it (ad hoc)"
    VERBATIM)
