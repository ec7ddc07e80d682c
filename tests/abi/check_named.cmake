# Every exported function is used by a test program. Included when all programs are known.
set(check_named sh ${CMAKE_CURRENT_LIST_DIR}/check_named.sh ${CMAKE_NM})
get_property(programs GLOBAL PROPERTY VCA_TEST_PROGRAMS)
list(TRANSFORM programs REPLACE "(.+)" "$<TARGET_OBJECTS:\\1>")
set(test_objects ${CMAKE_CURRENT_BINARY_DIR}/abi/test_objects.txt)
file(GENERATE OUTPUT ${test_objects} CONTENT "$<JOIN:${programs},\n>\n")
add_test(NAME abi.every_function_is_named_by_a_test
         COMMAND ${check_named} ${CMAKE_CURRENT_LIST_DIR}/exported_symbols.txt ${test_objects})

# The check itself: a name that stands only in a comment, a string and a declaration is found.
set(in_vain ${CMAKE_CURRENT_BINARY_DIR}/abi/named_in_vain)
file(CONFIGURE OUTPUT ${in_vain}.c @ONLY CONTENT
"/* vca_no_such_function(); */
int vca_no_such_function(void);
const char* named_in_vain = \"vca_no_such_function()\";
")
add_library(vca_named_in_vain OBJECT ${in_vain}.c)
file(GENERATE OUTPUT ${in_vain}.txt
     CONTENT "$<JOIN:${programs};$<TARGET_OBJECTS:vca_named_in_vain>,\n>\n")
add_test(NAME abi.unnamed_function_is_found
         COMMAND ${check_named} ${CMAKE_CURRENT_BINARY_DIR}/abi/exported_extra.txt ${in_vain}.txt)
set_tests_properties(abi.unnamed_function_is_found PROPERTIES
    PASS_REGULAR_EXPRESSION "^no test uses vca_no_such_function\n$")
