#include "Configuration.h"

#include <KXCoreLib/AuditRecord.h>
#include <KXCoreLib/IConv.h>
#include <KXCoreLib/PList.h>

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

namespace agent {

using namespace KXCore;
using namespace KXCore::CoreFoundation;

namespace {

constexpr BitMaskConstant kAccessNames[] = {{"read", Read}, {"write", Write}, {"eject", Eject}, {nullptr, 0}};

std::string narrow(const std::wstring& text) {
    std::string utf8;
    IConv{IConv::WideToUTF8}(text, utf8);
    return utf8;
}

std::wstring wide(const char* text) {
    std::wstring result;
    IConv{IConv::UTF8ToWide}(std::string(text), result);
    return result;
}

PropertyListRef readPropertyList(const char* path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error(std::string(path) + ": cannot be read");
    const std::vector<unsigned char> bytes(std::istreambuf_iterator<char>(file), {});
    ErrorRef error;
    PropertyListRef list = PropertyListRef::createWithData(nullptr, DataRef::createWithStdVector(nullptr, bytes).get(),
                                                           kCFPropertyListImmutable, nullptr, &error);
    if (!list) throw std::runtime_error(std::string(path) + ": " + error.copyDescription().copyStdString());
    return list;
}

int deviceTypeNamed(const std::string& name) {
    AuditRecord record;
    record.set_device_type_str(name.c_str());
    return record.get_device_type();
}

Configuration readFrom(const PListNode& root) {
    Configuration configuration;
    (root / "Stream").getValue(configuration.stream, ItemKind::Required);
    std::string watch;
    if ((root / "Watch").getValue(watch, ItemKind::Optional)) configuration.watch = watch;
    std::string type = "Removable";
    (root / "Type").getValue(type, ItemKind::Optional);
    configuration.deviceType = deviceTypeNamed(type);
    // Names that are not known here are kept without an identity, and dropped: they can match nobody.
    if (!CustomACL::read(configuration.acl, root / "ACL", kAccessNames, InitModeTolerant)) {
        throw PListValueError(root / "ACL", L"bad ACL");
    }
    configuration.acl.cleanup();
    return configuration;
}

}  // namespace

Configuration readConfiguration(const char* path) {
    const PListNavigator list({readPropertyList(path), wide(path)});
    try {
        return readFrom(list.root());
    } catch (const PListValueError& error) {
        throw std::runtime_error(narrow(error.getLocationInfo() + L": " + error.getMessage()));
    } catch (const PListError& error) {
        throw std::runtime_error(narrow(error.getLocationInfo()) + ": " + error.what());
    }
}

}  // namespace agent
