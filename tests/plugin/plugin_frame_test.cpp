// The plug-in as its host sees it: this program plays the host, hands the plug-in a
// function table that records every service call with its record's bytes, and checks
// the start-up and shutdown sequences.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "hrx/hrxcore.h"
#include "plugin/host_records.h"

namespace tarnik {
namespace {

struct Call {
    std::wstring service;
    std::vector<uint8_t> record;  // the first argument's bytes, when it is a record
    intptr_t first;
    intptr_t second;
};

std::vector<Call> g_calls;
bool g_smsPresent = true;
std::wstring g_throwIn;  // a service that throws, as a host out of memory would
constexpr intptr_t kSettingsHandle = 0x5E77;

size_t RecordSizeOf(const std::wstring& service) {
    if (service == L"HRX/Log" || service == L"HRX/Settings/GetMyConfigFile" ||
        service == L"SMST/Register" || service == L"HRX/Menu/Add") {
        return 1;  // the record states its own size
    }
    return 0;
}

intptr_t RecordingCall(const wchar_t* service, intptr_t first, intptr_t second) {
    Call call{service, {}, first, second};
    if (RecordSizeOf(service) != 0 && first != 0) {
        const auto* bytes = reinterpret_cast<const uint8_t*>(first);
        uint32_t size = 0;
        std::memcpy(&size, bytes, sizeof size);
        call.record.assign(bytes, bytes + size);
    }
    g_calls.push_back(call);
    if (call.service == g_throwIn)
        throw std::bad_alloc();
    if (call.service == L"HRX/Settings/GetMyConfigFile") {
        auto* request = reinterpret_cast<SettingsPathRequest*>(first);
        wcsncpy(request->buffer, L"C:\\hostdata\\settings\\tarnik.ini", request->capacity);
    }
    if (call.service == L"HRX/Settings/Init") {
        // The path must be the one written into the buffer, still alive during the call.
        EXPECT_STREQ(reinterpret_cast<const wchar_t*>(first),
                     L"C:\\hostdata\\settings\\tarnik.ini");
        return kSettingsHandle;
    }
    return 0;
}

intptr_t RecordingExists(const wchar_t* service) {
    g_calls.push_back({std::wstring(L"exists ") + service, {}, 0, 0});
    return g_smsPresent && std::wstring(service).rfind(L"SMST/", 0) == 0 ? 1 : 0;
}

// Expected content of a record: every byte not named here must be zero.
struct Field {
    size_t offset;
    enum Kind { kU32, kI32, kU64, kText, kNonNull, kPointer } kind;
    uint64_t number;
    const wchar_t* text;
};

void ExpectRecord(const std::vector<uint8_t>& raw, size_t size, const std::vector<Field>& fields) {
    ASSERT_EQ(raw.size(), size);
    std::vector<bool> covered(size, false);
    for (const Field& f : fields) {
        SCOPED_TRACE("offset " + std::to_string(f.offset));
        const size_t width = f.kind == Field::kU32 || f.kind == Field::kI32 ? 4 : 8;
        for (size_t i = 0; i < width; ++i)
            covered[f.offset + i] = true;
        uint64_t value = 0;
        std::memcpy(&value, raw.data() + f.offset, width);
        switch (f.kind) {
            case Field::kU32:
            case Field::kI32:
            case Field::kU64:
            case Field::kPointer:
                EXPECT_EQ(value, f.number);
                break;
            case Field::kText:
                ASSERT_NE(value, 0u);
                EXPECT_STREQ(reinterpret_cast<const wchar_t*>(value), f.text);
                break;
            case Field::kNonNull:
                EXPECT_NE(value, 0u);
                break;
        }
    }
    for (size_t i = 0; i < size; ++i) {
        if (!covered[i]) {
            EXPECT_EQ(raw[i], 0) << "byte " << i << " must be zero";
        }
    }
}

class PluginFrame : public ::testing::Test {
protected:
    void SetUp() override {
        g_calls.clear();
        g_smsPresent = true;
        g_throwIn.clear();
        module_ = LoadLibraryW(L"tarnik.dll");
        ASSERT_NE(module_, nullptr) << "tarnik.dll beside the test";
        Bind(query_, "queryPlugInfo");
        Bind(load_, "pluginLoad");
        Bind(unload_, "pluginUnload");
        ASSERT_TRUE(query_ && load_ && unload_);
        table_ = HRXFUNCTIONS{};
        table_.size = sizeof table_;
        table_.fnCall = RecordingCall;
        table_.fnExists = RecordingExists;
    }
    void TearDown() override {
        if (module_ != nullptr)
            FreeLibrary(module_);
    }

    template <typename Fn>
    void Bind(Fn& entry, const char* name) {
        entry = reinterpret_cast<Fn>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
    }

    std::vector<std::wstring> Services() const {
        std::vector<std::wstring> names;
        for (const Call& c : g_calls)
            names.push_back(c.service);
        return names;
    }

    // The transport and menu records of the last load.
    struct Callbacks {
        SmstTransportInfo transport{};
        MenuItemDef menu{};
    };
    static Callbacks RegisteredCallbacks() {
        Callbacks found;
        for (const Call& c : g_calls) {
            if (c.service == L"SMST/Register")
                std::memcpy(&found.transport, c.record.data(), sizeof found.transport);
            if (c.service == L"HRX/Menu/Add")
                std::memcpy(&found.menu, c.record.data(), sizeof found.menu);
        }
        EXPECT_TRUE(found.transport.send != nullptr && found.menu.callback != nullptr);
        return found;
    }

    HMODULE module_ = nullptr;
    const PluginInfo* (*query_)() = nullptr;
    int (*load_)(intptr_t, HRXFUNCTIONS*) = nullptr;
    int (*unload_)() = nullptr;
    HRXFUNCTIONS table_{};
};

TEST_F(PluginFrame, InformationBeforeAnyLoad) {
    const PluginInfo* info = query_();
    EXPECT_EQ(info, query_());
    EXPECT_TRUE(g_calls.empty());
    EXPECT_EQ(info->size, 128u);
    EXPECT_STREQ(info->shortName, L"Tarnik");
    EXPECT_STREQ(info->description, L"GSM transport for GSM phones");
    EXPECT_EQ(info->version, 0x00020000000004B0ull);
    EXPECT_EQ(info->moduleVersion, 0x0000000800150BECull);
    EXPECT_EQ(info->three, 3u);
    EXPECT_EQ(info->reserved88, nullptr);
    EXPECT_STREQ(info->pluginId, L"{5E2A8C41-93D7-4B6E-A1F0-2C7D9E3B5A86}");
    const std::wstring manifest = info->updateManifest;
    EXPECT_EQ(manifest.substr(manifest.size() - 18), L"/update/Tarnik.xml");
    for (void* p : info->reserved104)
        EXPECT_EQ(p, nullptr);
}

TEST_F(PluginFrame, ExactlyThreeExportsAndTheVersionResource) {
    const auto* base = reinterpret_cast<const uint8_t*>(module_);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
    const auto& dir = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    const auto* exports =
        reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(base + dir.VirtualAddress);
    const auto* names = reinterpret_cast<const DWORD*>(base + exports->AddressOfNames);
    std::vector<std::string> exported;
    for (DWORD i = 0; i < exports->NumberOfNames; ++i) {
        exported.emplace_back(reinterpret_cast<const char*>(base + names[i]));
    }
    EXPECT_EQ(exported, (std::vector<std::string>{"pluginLoad", "pluginUnload", "queryPlugInfo"}));

    wchar_t path[MAX_PATH];
    GetModuleFileNameW(module_, path, MAX_PATH);
    DWORD ignored = 0;
    std::vector<uint8_t> version(GetFileVersionInfoSizeW(path, &ignored));
    ASSERT_FALSE(version.empty());
    ASSERT_TRUE(GetFileVersionInfoW(path, 0, static_cast<DWORD>(version.size()), version.data()));
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueW(version.data(), L"\\", reinterpret_cast<void**>(&fixed), &length));
    EXPECT_EQ(fixed->dwFileVersionMS, 0x00000008u);
    EXPECT_EQ(fixed->dwFileVersionLS, 0x00150BECu);
    EXPECT_EQ(fixed->dwProductVersionMS, 0x00000008u);
    EXPECT_EQ(fixed->dwProductVersionLS, 0x00150BECu);
}

TEST_F(PluginFrame, StartUpAndShutdownSequences) {
    for (bool smsPresent : {true, false}) {
        SCOPED_TRACE(smsPresent ? "SMS plug-in present" : "SMS plug-in absent");
        g_calls.clear();
        g_smsPresent = smsPresent;
        EXPECT_EQ(load_(0, &table_), 0);
        EXPECT_NE(hrx::g_pF, nullptr);
        EXPECT_NE(hrx::g_pTrans, nullptr);

        std::vector<std::wstring> expected = {L"HRX/Log", L"HRX/Settings/GetMyConfigFile",
                                              L"HRX/Settings/Init", L"HRX/Settings/Read",
                                              L"exists SMST/Register"};
        if (!smsPresent)
            expected.push_back(L"HRX/Log");
        expected.insert(expected.end(), {L"SMST/Register", L"HRX/Menu/Add"});
        ASSERT_EQ(Services(), expected);

        const intptr_t instance = reinterpret_cast<intptr_t>(module_);
        ExpectRecord(g_calls[0].record, 40,
                     {{0, Field::kU32, 40, nullptr},
                      {4, Field::kI32, 1, nullptr},
                      {8, Field::kText, 0, L"SMSX"},
                      {16, Field::kText, 0, L"GSM transport plugin starting up..."}});
        EXPECT_EQ(g_calls[0].second, 0);
        ExpectRecord(g_calls[1].record, 32,
                     {{0, Field::kU32, 32, nullptr},
                      {8, Field::kNonNull, 0, nullptr},
                      {16, Field::kU32, 261, nullptr}});
        EXPECT_EQ(g_calls[1].second, instance);
        EXPECT_EQ(g_calls[2].second, instance);
        EXPECT_EQ(g_calls[3].first, kSettingsHandle);
        EXPECT_EQ(g_calls[3].second, 0);

        size_t next = 5;
        if (!smsPresent) {
            ExpectRecord(g_calls[next].record, 40,
                         {{0, Field::kU32, 40, nullptr},
                          {4, Field::kI32, static_cast<uint32_t>(-2), nullptr},
                          {16, Field::kText, 0,
                           L"Usiłujesz używać transportu sms (Tarnik), jednak wyłączyłeś obsługę "
                           L"SMSów w programie. Wiesz, że to bezsens?"}});
            ++next;
        }
        const Call& reg = g_calls[next];
        ExpectRecord(reg.record, 80,
                     {{0, Field::kU32, 80, nullptr},
                      {8, Field::kText, 0, L"3A5C1E07-6B2D-4F19-8E44-C0D2B7A91F35"},
                      {16, Field::kText, 0, L"Transport GSM (BT/Ir/COM)"},
                      {36, Field::kU32, 10, nullptr},
                      {40, Field::kU32, 160, nullptr},
                      {44, Field::kU32, 50, nullptr},
                      {48, Field::kNonNull, 0, nullptr},
                      {56, Field::kNonNull, 0, nullptr}});
        EXPECT_EQ(reg.second, 0);
        const Call& menu = g_calls[next + 1];
        ExpectRecord(menu.record, 96,
                     {{0, Field::kU32, 96, nullptr},
                      {8, Field::kText, 0, L"GSM/Access"},
                      {16, Field::kText, 0, L"HRX/Menu/Main/Opt"},
                      {24, Field::kText, 0, L"Archiwizacja SMS-ów"},
                      {44, Field::kI32, 0xFECED300u, nullptr},
                      {56, Field::kNonNull, 0, nullptr},
                      {80, Field::kPointer, static_cast<uint64_t>(instance), nullptr}});

        g_calls.clear();
        EXPECT_EQ(unload_(), 0);
        ASSERT_EQ(Services(),
                  (std::vector<std::wstring>{L"HRX/Settings/Write", L"HRX/Settings/Destroy",
                                             L"SMST/Unregister"}));
        EXPECT_EQ(g_calls[0].first, kSettingsHandle);
        EXPECT_EQ(g_calls[1].first, kSettingsHandle);
        EXPECT_EQ(g_calls[1].second, instance);
        EXPECT_STREQ(reinterpret_cast<const wchar_t*>(g_calls[2].first),
                     L"3A5C1E07-6B2D-4F19-8E44-C0D2B7A91F35");
        EXPECT_EQ(hrx::g_pF, nullptr);
    }
}

// Loads the plug-in with the host's translations read from `lines`.
void LoadTranslated(int (*load)(intptr_t, HRXFUNCTIONS*), HRXFUNCTIONS* table, const char* lines) {
    wchar_t folder[MAX_PATH];
    GetTempPathW(MAX_PATH, folder);
    const std::wstring path = std::wstring(folder) + L"tarnik-translations.txt";
    FILE* file = _wfopen(path.c_str(), L"wb");
    ASSERT_NE(file, nullptr);
    std::fputs(lines, file);
    std::fclose(file);
    SetEnvironmentVariableW(L"HRX_TRANSLATIONS", path.c_str());
    load(0, table);
    SetEnvironmentVariableW(L"HRX_TRANSLATIONS", nullptr);
    DeleteFileW(path.c_str());
}

TEST_F(PluginFrame, TextsGoThroughTheHostsTranslation) {
    LoadTranslated(load_, &table_, "Tarnik.1001=Transport przez telefon\nTarnik.1002=Archiwum\n");
    std::vector<std::wstring> texts;
    for (const Call& c : g_calls) {
        if (c.service == L"SMST/Register") {
            texts.emplace_back(*reinterpret_cast<const wchar_t* const*>(c.record.data() + 16));
        }
        if (c.service == L"HRX/Menu/Add") {
            texts.emplace_back(*reinterpret_cast<const wchar_t* const*>(c.record.data() + 24));
        }
    }
    EXPECT_EQ(texts, (std::vector<std::wstring>{L"Transport przez telefon", L"Archiwum"}));
    unload_();
}

TEST_F(PluginFrame, CallbacksRefuseUnusableRequestsAndTheMenuEntryReturnsZero) {
    load_(0, &table_);
    const auto [transport, item] = RegisteredCallbacks();

    uint8_t profile[13] = {2, 1};
    SmstSendInfo request{};
    request.size = sizeof request;
    request.profileData = profile;
    request.profileLength = 12;
    EXPECT_EQ(transport.send(&request), 2);  // a record is 13 bytes
    EXPECT_EQ(transport.send(nullptr), 2);
    profile[0] = 3;
    request.profileLength = 13;
    EXPECT_EQ(transport.send(&request), 2);  // no such connection kind
    EXPECT_EQ(transport.configure(nullptr), 0);
    EXPECT_EQ(item.callback(0, 0), 0);
    unload_();
}

// Whatever the host's services and translations throw into a call stays in the plug-in:
// each entry point gives its failure value and the host goes on.
TEST_F(PluginFrame, NoExceptionReachesTheHost) {
    g_throwIn = L"HRX/Settings/Init";
    EXPECT_EQ(load_(0, &table_), 0);
    g_throwIn = L"HRX/Settings/Write";
    EXPECT_EQ(unload_(), 0);

    g_throwIn.clear();
    LoadTranslated(load_, &table_,
                   "Tarnik.1004=!bad_alloc\nTarnik.1052=!bad_alloc\nTarnik.1053=!bad_alloc\n");
    const auto callbacks = RegisteredCallbacks();
    uint8_t profile[13] = {2, 1};
    SmstSendInfo request{};
    request.size = sizeof request;
    request.profileData = profile;
    request.profileLength = 13;
    EXPECT_EQ(callbacks.transport.send(&request), 2);
    SmstConfigureInfo configure{};
    configure.size = sizeof configure;
    configure.profileData = profile;
    EXPECT_EQ(callbacks.transport.configure(&configure), 0);  // the dialog ends at once
    EXPECT_EQ(configure.writtenLength, 0u);
    EXPECT_EQ(callbacks.menu.callback(0, 0), 0);
    EXPECT_EQ(unload_(), 0);
}

}  // namespace
}  // namespace tarnik
