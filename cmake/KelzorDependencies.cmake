# Libraries from outside.

find_package(Threads REQUIRED)
