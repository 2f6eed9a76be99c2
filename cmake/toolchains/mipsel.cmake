# 32-bit MIPS, least significant byte first.
set(CMAKE_SYSTEM_PROCESSOR mipsel)
include(${CMAKE_CURRENT_LIST_DIR}/board.cmake)
