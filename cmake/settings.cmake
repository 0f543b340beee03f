# What every target of the program is built with, and the one way to declare a folder of src/ as a library.

add_library(hq_settings INTERFACE)
target_include_directories(hq_settings INTERFACE ${CMAKE_SOURCE_DIR}/src)
if(MSVC)
  target_compile_options(hq_settings INTERFACE /W4 /permissive- /utf-8)
else()
  target_compile_options(hq_settings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
                                               -Wnon-virtual-dtor -Woverloaded-virtual -Werror=return-type)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # g++ 12 takes text + string for overlapping memory when it optimises.
    target_compile_options(hq_settings INTERFACE -Wno-restrict)
  endif()
  if(WIN32 AND CMAKE_SIZEOF_VOID_P EQUAL 4)
    # Numbers as on every other system. The older arithmetic of 32-bit programs carries more digits than a number holds,
    # and every machine of these systems has the newer one.
    target_compile_options(hq_settings INTERFACE -msse2 -mfpmath=sse)
  endif()
endif()
if(WIN32)
  # Windows 10 and later. The names without a letter at the end stay the ANSI ones: texts are in the system's code page.
  target_compile_definitions(hq_settings INTERFACE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0A00)
  # As much stack as elsewhere.
  if(MINGW)
    # The compiler's run-time libraries go into each program, so that it is a file by itself.
    target_link_options(hq_settings INTERFACE -static -Wl,--stack,8388608)
  else()
    target_link_options(hq_settings INTERFACE /STACK:8388608)
  endif()
endif()
if(HQ_SANITIZERS)
  add_compile_options(-fsanitize=${HQ_SANITIZERS} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${HQ_SANITIZERS})
endif()

# hq_folder(NAME source... DEPENDS library...): the library of the folder src/NAME, or with a NAME that ends in _forms that
# of the folder's forms. Its target is hq_NAME, because plain names like "output" are taken or may be by other packages; it
# may include and link only what DEPENDS names, so that no folder but the forms can see a Qt header.
function(hq_folder name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "DEPENDS")
  add_library(hq_${name} STATIC ${arg_UNPARSED_ARGUMENTS})
  target_link_libraries(hq_${name} PUBLIC hq_settings ${arg_DEPENDS})
  if(name MATCHES "_forms$")
    set_target_properties(hq_${name} PROPERTIES AUTOUIC ON AUTOMOC ON AUTORCC ON)
  endif()
endfunction()

# hq_windows_resources(TARGET DESCRIPTION): gives a Windows program its icon, its version and its manifest; nothing elsewhere.
function(hq_windows_resources target description)
  if(WIN32)
    enable_language(RC)
    configure_file(${CMAKE_SOURCE_DIR}/packaging/windows/program.rc.in ${target}.rc @ONLY)
    target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
    set_property(SOURCE ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc PROPERTY OBJECT_DEPENDS
                 ${CMAKE_SOURCE_DIR}/packaging/windows/program.manifest)
    if(MSVC)
      target_link_options(${target} PRIVATE /MANIFEST:NO)
    endif()
  endif()
endfunction()
