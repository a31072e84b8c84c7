#ifndef VEK_TESTS_SUPPORT_MAIN_MARK_H
#define VEK_TESTS_SUPPORT_MAIN_MARK_H

/// The process id that preload_faults.cpp asks for when main() begins. No process has it.
enum { VEK_TEST_MARK_ID = 0x7665746b };

#endif
