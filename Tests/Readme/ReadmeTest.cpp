#include "../Tools/RunProgram.h"
#include "TemporaryFolder.h"

#include <KXCoreLib/AccountInfo.h>
#include <KXCoreLib/AuditRecord.h>
#include <KXCoreLib/CoreFoundationWrappers.h>
#include <KXCoreLib/CustomACL.h>
#include <KXCoreLib/StreamStorage.h>
#include <KXCoreLib/SystemInfo.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

using namespace KXCore;
using namespace KXCore::CoreFoundation;

// What the pieces define.
bool audit(StreamStorage& stream, const CustomACL& acl, unsigned uid, std::uint32_t requested);
CustomACL policy(const char* text);
void followComputerName();
void deliverAll(StreamStorage& stream, const std::function<void(const PropertyListRef&)>& deliver);

TEST(Readme, TheRecordThatItSendsIsTheOneThatItReceives) {
    const TemporaryFolder folder;
    StreamStorage stream((folder / "stream").c_str(), FileAttributes());
    stream.openStorage(StreamModeReadWrite);
    followComputerName();
    EXPECT_FALSE(audit(stream, policy("root:allow:read/nobody:deny:write"), 0, 2));
    EXPECT_TRUE(audit(stream, policy("root:allow:read|write"), 0, 2));
    EXPECT_THROW(policy("root:alow:read"), std::runtime_error);

    std::vector<std::string> delivered;
    deliverAll(stream, [&](const PropertyListRef& item) {
        DataRef data;
        data.assign(item.get());
        const std::vector<unsigned char> bytes = data.copyStdVector();
        AuditRecord record;
        ASSERT_EQ(record.read_from_buffer(bytes, 0), bytes.size());
        delivered.push_back(std::string(record.get_type_str()) + " " + record.get_device_type_str() + " " +
                            record.get_name_str());
        EXPECT_EQ(record.get_user_uuid(), GetUserUUID(0));
        EXPECT_TRUE(record.is_set_computer_name());
    });
    EXPECT_EQ(delivered, (std::vector<std::string>{"afailure USB port Stick", "asuccess USB port Stick"}));
    EXPECT_EQ(stream.getFirstItemID(), 0u) << "what was delivered is discarded";
}

TEST(Readme, ItsCommandsGiveWhatStandsBelowThem) {
    std::ifstream file(KX_SOURCE_DIR "/README.md");
    const std::string readme(std::istreambuf_iterator<char>(file), {});
    const std::size_t begin = readme.find("\n```\n$ kxtool mask ");
    const std::size_t end = readme.find("\n```\n", begin + 1);
    ASSERT_TRUE(begin < end && end != std::string::npos);

    // The block as a script: before each output the line that makes it, as a person types it.
    const std::string block = readme.substr(begin + 5, end + 1 - (begin + 5));
    std::string script = "PATH=" + std::filesystem::path(KXTOOL).parent_path().string() + ":$PATH\n";
    std::string outputs;
    for (std::size_t at = 0; at < block.size();) {
        const std::string line = block.substr(at, block.find('\n', at) + 1 - at);
        at += line.size();
        if (line.starts_with("$ ")) {
            script += line.substr(2);
        } else if (line != "\n") {
            outputs += line;
        }
    }
    const TemporaryFolder folder;
    EXPECT_EQ(RunProgram({"/bin/sh", "-c", "cd '" + folder.path().string() + "'\n" + script}),
              (ProgramOutcome{0, outputs, ""}));
}
