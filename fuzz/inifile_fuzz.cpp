// kelzor.ini: lines, keys and sections, and the options that a destination section becomes.

#include <cstdlib>

#include "config/inireader.h"

namespace inifuzz {

constexpr size_t longestLine = 1023;

void require(bool condition) {
    if (!condition) std::abort();
}

/** Every key and every value is trimmed and not empty; a key holds no sign of equality. */
void requireSetting(std::string_view key, std::string_view value) {
    require(!key.empty() && key == trimmed(key) && key.find('=') == key.npos && key[0] != '#');
    require(!value.empty() && value == trimmed(value));
    require(key.size() + value.size() < longestLine);
}

class Sink final : public IniSink {
  public:
    void defaultSetting(std::string_view key, std::string_view value) override { requireSetting(key, value); }

    void destination(const KEL_string& name, const ZorOptionMap& settings) override {
        require(!name.empty() && name.size() < longestLine);
        for (const auto& [key, value] : settings)
            requireSetting(key, value);
        try {
            ZorOptions options;
            options.setOptions(settings);
        } catch (const ZorOptionException& refusal) {
            require(settings.find(KEL_string(refusal.getOption())) != settings.end());
        }
    }
};

}  // namespace inifuzz

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    if (size == 0) return 0;  // the C library opens no empty memory
    const IniFile file(::fmemopen(const_cast<unsigned char*>(data), size, "r"));
    inifuzz::require(file != nullptr);
    inifuzz::Sink sink;
    readIniFile(file.get(), sink);
    return 0;
}
