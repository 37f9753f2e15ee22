#pragma once

// kxtool with users, groups and a computer name of a test's own.

#include <cstdlib>
#include <string>
#include <vector>

#include "RunProgram.h"
#include "TemporaryFolder.h"

/// Users alice (70001) and bob (70002, in staff), DOMAIN\carol (70003), Jürgen (70004), groups users (70100) and staff
/// (70200), on the computer HOST.
class NamedPeople : public ::testing::Test {
  protected:
    ProgramOutcome run(const std::vector<std::string>& arguments, const std::string& input = "") const {
        const char* const options = std::getenv("ASAN_OPTIONS");
        std::vector<std::string> all{
            "/usr/bin/env", "LD_PRELOAD=" KX_NSS_WRAPPER,
            // The wrapper stands before the sanitizer's own library, if there is one.
            std::string("ASAN_OPTIONS=") + (options ? std::string(options) + ":" : "") + "verify_asan_link_order=0",
            "NSS_WRAPPER_PASSWD=" + users_, "NSS_WRAPPER_GROUP=" + groups_, "NSS_WRAPPER_HOSTNAME=host.example",
            KXTOOL};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return RunProgram(all, input);
    }

    TemporaryFolder folder;

  private:
    const std::string users_ = folder.write("passwd",
                                            "alice:x:70001:70100::/:/bin/sh\nbob:x:70002:70100::/:/bin/sh\n"
                                            "DOMAIN\\carol:x:70003:70100::/:/bin/sh\n"
                                            "J\xC3\xBCrgen:x:70004:70100::/:/bin/sh\n");
    const std::string groups_ = folder.write("group", "users:x:70100:\nstaff:x:70200:bob\n");
};
