# Sources that are fetched or generated rather than kept in the tree.
include(${CMAKE_CURRENT_LIST_DIR}/minimp3.cmake)
list(APPEND COMM_EXTRA_SOURCES ${MINIMP3_IMPL_SOURCE})
include(${CMAKE_CURRENT_LIST_DIR}/media_prompt.cmake)
