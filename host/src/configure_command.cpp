#include "configure_command.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "dialog_driver.h"
#include "fields.h"
#include "host.h"
#include "host/text/base64.h"
#include "host/text/utf8.h"

namespace tarnik::host {

// The SMS plug-in hands over a buffer of its own; ours is larger than a record, so a
// plug-in that wrote past 13 bytes would show in the trailing bytes.
constexpr size_t kProfileBuffer = 64;
constexpr uint32_t kUntouched = 0xFFFFFFFF;

bool ConfigureCommand(Host& host, const CommandArgs& args, std::string& error) {
    std::optional<ProfileTarget> target = FindProfile(host, args[0], false, error);
    if (!target)
        return false;
    const std::vector<uint8_t> record = RecordBytes(target->profile);
    std::vector<uint8_t> buffer(kProfileBuffer, 0xEE);
    std::copy_n(record.begin(), std::min(record.size(), kProfileBuffer), buffer.begin());

    SmstConfigureInfo request{};
    request.size = sizeof request;
    request.profileData = buffer.data();
    request.writtenLength = kUntouched;

    // With a script, a driver plays the user on its own thread while the dialog runs here.
    std::unique_ptr<DialogDriver> driver;
    if (args.size() > 1)
        driver = std::make_unique<DialogDriver>(host.output, args[1]);
    const intptr_t result = target->transport->configure(&request);
    if (driver != nullptr && !driver->Finish()) {
        error = "the dialog script failed";
        return false;
    }

    host.output.Print(
        "CONFIGURE -> " + std::to_string(result) + " written=" +
        (request.writtenLength == kUntouched ? std::string("untouched")
                                             : std::to_string(request.writtenLength)) +
        " bytes=" + HexBytes(buffer.data(), 13) + " after=" + HexBytes(buffer.data() + 13, 3));
    if (request.writtenLength == 13) {
        target->profile.base64 =
            WideFromUtf8(Base64Encode(std::vector<uint8_t>(buffer.begin(), buffer.begin() + 13)));
        if (!host.profiles.Replace(target->index, target->profile, error))
            return false;
    }
    return true;
}

}  // namespace tarnik::host
