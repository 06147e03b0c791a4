# Build policy shared by every target: language level, warnings, Qt defines
# and sanitizers. Every target links tessary_policy.
add_library(tessary_policy INTERFACE)
target_compile_features(tessary_policy INTERFACE cxx_std_20)
target_compile_options(tessary_policy INTERFACE -Wall -Wextra -Wno-missing-field-initializers)
if(TESSARY_WERROR)
  target_compile_options(tessary_policy INTERFACE -Werror)
endif()
target_compile_definitions(tessary_policy INTERFACE
  QT_NO_CAST_FROM_ASCII
  QT_NO_CAST_TO_ASCII
  QT_NO_URL_CAST_FROM_STRING
  QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
  QT_NO_FOREACH
  QT_USE_QSTRINGBUILDER
  TESSARY_VERSION="${PROJECT_VERSION}")

if(TESSARY_TSAN)
  target_compile_options(tessary_policy INTERFACE -fsanitize=thread -fno-omit-frame-pointer -g)
  target_link_options(tessary_policy INTERFACE -fsanitize=thread)
endif()
if(TESSARY_ASAN)
  target_compile_options(tessary_policy INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer -g)
  target_link_options(tessary_policy INTERFACE -fsanitize=address,undefined)
endif()

# tessary_add_library(<name> [SOURCES ...] [EXCLUDE ...] DEPENDS ...)
# A static library for one source folder, with its folder on the include path.
# Without SOURCES it takes every .cpp of the folder (one class per file), less
# the files named in EXCLUDE (entry points of executables built beside it).
function(tessary_add_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;EXCLUDE;DEPENDS" ${ARGN})
  if(NOT ARG_SOURCES)
    file(GLOB ARG_SOURCES CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.h)
    foreach(excluded IN LISTS ARG_EXCLUDE)
      list(REMOVE_ITEM ARG_SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/${excluded})
    endforeach()
  endif()
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${name} PUBLIC tessary_policy ${ARG_DEPENDS})
  set_target_properties(${name} PROPERTIES AUTOMOC ON)
endfunction()
