# tw_compile_in_batches(TARGET SIZE)
#
# Compiles a target's C++ files a few at a time: each batch is a file that includes SIZE of them,
# in the order the target lists them, as CMake's own unity build would. The batches are written
# here rather than by CMake because CMake includes each file by its absolute path: a checkout in
# another folder then misses the compiler cache for every batch. These include each file by its
# path relative to the batch, which is the same in every checkout.
#
# Call it once all of the target's sources are added. Files that are generated, or that carry
# compile settings of their own, are compiled alone as before.
function(tw_compile_in_batches target size)
    get_target_property(sources ${target} SOURCES)
    get_target_property(target_dir ${target} SOURCE_DIR)
    set(batch_dir "${CMAKE_BINARY_DIR}/batches/${target}")
    set(batched)
    foreach(source IN LISTS sources)
        if(source MATCHES "^\\$<" OR NOT source MATCHES "\\.cpp$")
            continue()
        endif()
        if(NOT IS_ABSOLUTE "${source}")
            set(source "${target_dir}/${source}")
        endif()
        get_source_file_property(generated "${source}" TARGET_DIRECTORY ${target} GENERATED)
        get_source_file_property(definitions "${source}" TARGET_DIRECTORY ${target} COMPILE_DEFINITIONS)
        get_source_file_property(options "${source}" TARGET_DIRECTORY ${target} COMPILE_OPTIONS)
        if(generated OR definitions OR options)
            continue()
        endif()
        list(APPEND batched "${source}")
    endforeach()
    list(REMOVE_DUPLICATES batched)
    list(LENGTH batched count)
    set(batch_files)
    if(count GREATER 0)
        math(EXPR last "${count} - 1")
        foreach(first RANGE 0 ${last} ${size})
            list(SUBLIST batched ${first} ${size} members)
            set(content "")
            foreach(source IN LISTS members)
                file(RELATIVE_PATH relative "${batch_dir}" "${source}")
                string(APPEND content "#include \"${relative}\"\n")
            endforeach()
            math(EXPR number "${first} / ${size}")
            set(file "${batch_dir}/batch_${number}.cpp")
            # Written only when it changes, so that a new configure does not rebuild everything.
            file(CONFIGURE OUTPUT "${file}" CONTENT "${content}" @ONLY)
            list(APPEND batch_files "${file}")
        endforeach()
    endif()
    if(batched)
        set_source_files_properties(${batched} TARGET_DIRECTORY ${target}
                                    PROPERTIES HEADER_FILE_ONLY ON)
        target_sources(${target} PRIVATE ${batch_files})
    endif()
endfunction()
