# Runs while installing (from cmake_install.cmake): writes tarnwave@.service with the full path
# of the installed console. Given TW_UNIT_TEMPLATE, TW_UNIT_DIR and TW_BINDIR; the prefix is the
# install's own CMAKE_INSTALL_PREFIX.
function(tw_under_prefix out dir)
    if(IS_ABSOLUTE "${dir}")
        set(${out} "${dir}" PARENT_SCOPE)
    else()
        set(${out} "${CMAKE_INSTALL_PREFIX}/${dir}" PARENT_SCOPE)
    endif()
endfunction()

tw_under_prefix(TW_INSTALLED_BINDIR "${TW_BINDIR}")
tw_under_prefix(tw_unit_dir "${TW_UNIT_DIR}")
set(tw_unit "$ENV{DESTDIR}${tw_unit_dir}/tarnwave@.service")
message(STATUS "Installing: ${tw_unit}")
file(READ "${TW_UNIT_TEMPLATE}" tw_unit_text)
file(CONFIGURE OUTPUT "${tw_unit}" CONTENT "${tw_unit_text}" @ONLY)
list(APPEND CMAKE_INSTALL_MANIFEST_FILES "${tw_unit}")
