#include "hexctrl/hex_charset.h"

#include <algorithm>
#include <cstring>

#include <iconv.h>

namespace tolvar {

namespace {

struct CharsetRow {
    std::uint32_t number;
    const char* codePage;
};

// The numbers are those of a font's character set, the names those of iconv. Sets whose characters take two bytes show
// the bytes that stand alone.
constexpr CharsetRow kCharsets[] = {
    {128, "CP932"},  {129, "CP949"},  {134, "CP936"},  {136, "CP950"},  {161, "CP1253"},
    {162, "CP1254"}, {163, "CP1258"}, {177, "CP1255"}, {178, "CP1256"}, {186, "CP1257"},
    {204, "CP1251"}, {222, "CP874"},  {238, "CP1250"}, {255, "CP437"},
};
constexpr const char* kWestern = "CP1252";
constexpr char32_t kFirstPrintable = 0x20;
constexpr char32_t kDelete = 0x7F;
constexpr char32_t kFirstHighControl = 0x80;
constexpr char32_t kNoBreakSpace = 0xA0;
constexpr char32_t kSoftHyphen = 0xAD;

class Converter {
public:
    explicit Converter(const char* codePage) : m_converter(iconv_open("UTF-32LE", codePage)) {}
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
    ~Converter()
    {
        if (IsOpen()) {
            iconv_close(m_converter);
        }
    }

    [[nodiscard]] bool IsOpen() const { return m_converter != reinterpret_cast<iconv_t>(-1); }

    std::optional<char32_t> Convert(std::uint8_t byte)
    {
        if (!IsOpen()) {
            return byte;
        }
        char in = static_cast<char>(byte);
        std::array<char, 4 * sizeof(char32_t)> out{};
        char* inAt = &in;
        char* outAt = out.data();
        std::size_t inLeft = 1;
        std::size_t outLeft = out.size();
        iconv(m_converter, nullptr, nullptr, nullptr, nullptr);
        iconv(m_converter, &inAt, &inLeft, &outAt, &outLeft);
        if (inLeft != 0) { // no character, or the first byte of a longer one
            return std::nullopt;
        }
        iconv(m_converter, nullptr, nullptr, &outAt, &outLeft); // some sets hold a letter back, to join it to a mark
        char32_t character = 0;
        std::memcpy(&character, out.data(), sizeof character);
        return character;
    }

private:
    iconv_t m_converter;
};

bool IsShown(char32_t character)
{
    return character >= kFirstPrintable && character != kSoftHyphen &&
           (character < kDelete || character >= kNoBreakSpace);
}

} // namespace

HexCharacters CharactersOf(std::uint32_t charset)
{
    const auto* row = std::ranges::find(kCharsets, charset, &CharsetRow::number);
    Converter converter(row == std::end(kCharsets) ? kWestern : row->codePage);
    HexCharacters characters{};
    char32_t byte = 0;
    for (char32_t& shown : characters) {
        const auto character =
            byte < kFirstHighControl ? std::optional(byte) : converter.Convert(static_cast<std::uint8_t>(byte));
        shown = character && IsShown(*character) ? *character : U'.';
        ++byte;
    }
    return characters;
}

std::optional<std::uint8_t> ByteOf(const HexCharacters& characters, char32_t character)
{
    if (character < kFirstHighControl) {
        return static_cast<std::uint8_t>(character);
    }
    const auto* found = std::ranges::find(characters, character);
    return found == characters.end() ? std::nullopt
                                     : std::optional(static_cast<std::uint8_t>(found - characters.begin()));
}

} // namespace tolvar
