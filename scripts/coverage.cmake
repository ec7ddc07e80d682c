# Included by CMake after project(): counts lines and branches in the library, and only there.
function(vca_count_coverage)
    target_compile_options(vca PRIVATE -O0 --coverage -fprofile-update=atomic)
    target_link_options(vca PRIVATE --coverage)
endfunction()
cmake_language(DEFER DIRECTORY ${CMAKE_SOURCE_DIR} CALL vca_count_coverage)
