# 32-bit MIPS, most significant byte first.
set(CMAKE_SYSTEM_PROCESSOR mips)
include(${CMAKE_CURRENT_LIST_DIR}/board.cmake)
