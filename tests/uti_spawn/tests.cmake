# The child program the spawn tests start; its path reaches the tests as
# SPAWN_CHILD. It lives beside the test program, where a bare name finds it.
add_executable(uti_spawn_child ${CMAKE_CURRENT_LIST_DIR}/child/spawn_child.cpp)
set_target_properties(uti_spawn_child PROPERTIES RUNTIME_OUTPUT_DIRECTORY $<TARGET_FILE_DIR:${_t}>)
add_dependencies(${_t} uti_spawn_child)
target_compile_definitions(${_t} PRIVATE SPAWN_CHILD="$<TARGET_FILE:uti_spawn_child>")
