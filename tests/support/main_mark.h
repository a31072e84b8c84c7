#ifndef VEK_TESTS_SUPPORT_MAIN_MARK_H
#define VEK_TESTS_SUPPORT_MAIN_MARK_H

/// The process ids that preload_faults.cpp passes to getpgid() when main() begins and ends. No process has them.
enum { VEK_TEST_MARK_ID = 0x7665746b, VEK_TEST_END_MARK_ID = 0x7665746c };

#endif
