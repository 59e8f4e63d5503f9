#include "host.h"
#include "host/text/utf8.h"

namespace tarnik::host {

Host::Host(const HostOptions& options)
    : output(options.trace),
      plugin(options.pluginPath, output),
      services(options.noSms),
      log(options.dataDir + L"\\log.txt"),
      archive(options.dataDir + L"\\archive.txt"),
      profiles(options.dataDir + L"\\profiles.txt"),
      table(*this),
      dataDir_(options.dataDir) {}

std::wstring Host::DataPath(const wchar_t* relative) const {
    return dataDir_ + L"\\" + relative;
}

bool FindProfile(Host& host, const std::wstring& name, size_t& index,
                 const RegisteredTransport*& transport, std::string& error) {
    const std::vector<StoredProfile>& profiles = host.profiles.Records();
    const StoredProfile* profile = nullptr;
    for (size_t i = 0; i < profiles.size(); ++i) {
        if (profiles[i].name == name) {
            profile = &profiles[i];
            index = i;
        }
    }
    if (profile == nullptr) {
        error = "no profile named " + Utf8(name);
        return false;
    }
    transport = nullptr;
    for (const RegisteredTransport& t : host.registered.transports()) {
        if (t.id == profile->transportId)
            transport = &t;
    }
    if (transport == nullptr) {
        error = "the transport of profile " + Utf8(name) + " is not registered";
        return false;
    }
    return true;
}

}  // namespace tarnik::host
