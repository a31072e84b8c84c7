#ifndef VEK_FUZZ_SUPPORT_USERS_H
#define VEK_FUZZ_SUPPORT_USERS_H

namespace fuzz {

/// The one user that there is, whatever the machine, and that user's home: asking a real user database takes longer
/// than all the rest of an input.
inline constexpr char kUser[] = "me";
inline constexpr char kUsersHome[] = "/home/me";

} // namespace fuzz

#endif
