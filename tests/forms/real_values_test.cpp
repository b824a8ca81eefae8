#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include <QPushButton>
#include <gtest/gtest.h>

#include "fixtures/window_fixture.h"
#include "form_parent.h"
#include "forms/binary_form.h"
#include "forms/dword_form.h"
#include "forms/rich_edit_field.h"
#include "forms/string_form.h"
#include "hexctrl/ui/hex_classes.h"
#include "hexctrl/ui/hex_editor.h"
#include "platform/registry/caller_data.h"
#include "platform/registry/stored_value.h"
#include "registry/editable_value.h"
#include "registry/reg_key.h"
#include "registry/value_text.h"

namespace tolvar {
namespace {

/// Opens every value of the session in its form, one form of each kind for all of them.
class EveryValue {
public:
    void VisitKey(HKEY parentKey, const char* keyName)
    {
        RegKey key;
        if (RegOpenKeyExA(parentKey, keyName, 0, KEY_READ, key.Put()) != ERROR_SUCCESS) {
            return;
        }
        std::string name(4 * 0x10000, '\0');
        for (DWORD index = 0;; ++index) {
            auto size = static_cast<DWORD>(name.size());
            if (RegEnumValueA(key.Get(), index, name.data(), &size, nullptr, nullptr, nullptr, nullptr) !=
                ERROR_SUCCESS) {
                break;
            }
            VisitValue(key.Get(), name.substr(0, size));
        }
        for (DWORD index = 0;; ++index) {
            auto size = static_cast<DWORD>(name.size());
            if (RegEnumKeyExA(key.Get(), index, name.data(), &size, nullptr, nullptr, nullptr, nullptr) !=
                ERROR_SUCCESS) {
                break;
            }
            VisitKey(key.Get(), name.substr(0, size).c_str());
        }
    }

    int values = 0; ///< that were met

private:
    void VisitValue(HKEY key, const std::string& name)
    {
        if (++values % m_step != 0) {
            return;
        }
        EditableValue value;
        std::vector<BYTE> stored;
        ASSERT_EQ(ReadEditableValue(key, name, value), ERROR_SUCCESS) << name;
        ASSERT_EQ(QueryStoredValue(key, name.c_str(), nullptr, &stored), ERROR_SUCCESS) << name;
        const FormRequest request = {value.text, value.isStored, false, value.type, name};
        const bool isText =
            value.type == REG_SZ || value.type == REG_EXPAND_SZ || value.type == REG_LINK || value.type == REG_MULTI_SZ;
        const bool isNumber = value.type == REG_DWORD || value.type == REG_DWORD_BIG_ENDIAN;
        CValueForm& form = value.isStored ? static_cast<CValueForm&>(bytes)
                           : isText       ? static_cast<CValueForm&>(text)
                           : isNumber     ? static_cast<CValueForm&>(number)
                                          : bytes;
        form.LoadValue(request);
        form.OnOk();
        EXPECT_FALSE(parent.edit) << name; // nothing was changed: nothing is stored
        if (value.isStored || (!isText && !isNumber)) {
            ChangeBytes();
        } else if (isText) {
            text.DataField().moveCursor(QTextCursor::End);
            text.DataField().insertPlainText(QStringLiteral("x"));
        } else {
            number.NumberField().setText(value.text == "00000001" ? QStringLiteral("2") : QStringLiteral("1"));
        }
        form.OnOk();
        ASSERT_TRUE(parent.edit) << name;
        ASSERT_NE(*parent.edit->data, value.text) << name;
        FormRequest changed = request;
        changed.text = *parent.edit->data;
        form.LoadValue(changed);
        if (value.isStored || (!isText && !isNumber)) {
            ChangeBytesBack();
        } else if (isText) {
            text.DataField().moveCursor(QTextCursor::End);
            text.DataField().textCursor().deletePreviousChar();
        } else {
            number.NumberField().setText(QString::number(QString::fromStdString(value.text).toUInt(nullptr, 16)));
        }
        form.OnOk();
        ASSERT_TRUE(parent.edit) << name;
        ASSERT_EQ(parent.edit->data, value.text) << name;
        EXPECT_EQ(BytesOf(value), WithEnd(value, stored)) << name;
    }

    void ChangeBytes()
    {
        std::uint8_t byte = 0x41;
        HexDataBlock block;
        block.size = 1;
        block.data = &byte;
        bytes.Editor().Control().Send(HexMessage::kInsert, &block);
    }

    void ChangeBytesBack()
    {
        bytes.Editor().Control().SelectBytes(0, 1);
        bytes.Editor().Control().Send(HexMessage::kDelete);
    }

    /// What storing the text as it is would store.
    static std::vector<BYTE> BytesOf(const EditableValue& value)
    {
        std::vector<BYTE> data = ValueFromText(value.isStored ? REG_BINARY : value.type, value.text).value();
        if (data.empty() && !value.isStored && (value.type == REG_SZ || value.type == REG_EXPAND_SZ)) {
            data = {0}; // as a change stores an empty text
        }
        if (!value.isStored) {
            const auto bytesStored = DataFromCaller(value.type, data).value();
            const auto* const begin = reinterpret_cast<const BYTE*>(bytesStored.data());
            data.assign(begin, begin + bytesStored.size());
        }
        return data;
    }

    /// The stored bytes, with the terminator that the platform adds to a text without one.
    static std::vector<BYTE> WithEnd(const EditableValue& value, std::vector<BYTE> stored)
    {
        const bool wantsEnd = !value.isStored && (value.type == REG_SZ || value.type == REG_EXPAND_SZ);
        const bool hasEnd = stored.size() >= 2 && stored[stored.size() - 2] == 0 && stored.back() == 0;
        if (wantsEnd && !hasEnd) {
            stored.insert(stored.end(), {0, 0});
        }
        return stored;
    }

    /// Every so many-th value is taken: all of them where the variable says so.
    int m_step = std::getenv("TOLVAR_ALL_VALUES") != nullptr ? 1 : 8;
    fixtures::WindowFixture fixture;
    FormParent parent;
    CStringForm text{fixture.context, &parent};
    CDwordForm number{fixture.context, &parent};
    CBinaryForm bytes{fixture.context, &parent};

public:
    fixtures::WindowFixture& Fixture() { return fixture; }
};

TEST(RealValues, AreNotChangedByTheFormsThatShowThem)
{
    const std::filesystem::path folder = std::filesystem::path(TOLVAR_SHARED_DIR) / "hives" / "machines";
    if (!std::filesystem::exists(folder)) {
        GTEST_SKIP() << "no real hives beside the checkout";
    }
    RegisterHexClasses();
    EveryValue every;
    int hives = 0;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        const std::string key = "Hive" + std::to_string(hives++);
        ASSERT_TRUE(every.Fixture().registry.Mount({file.path(), "HKEY_USERS\\" + key})) << file.path();
        every.VisitKey(HKEY_USERS, key.c_str());
    }
    EXPECT_GT(every.values, 10'000);
    std::printf("%d values\n", every.values);
}

} // namespace
} // namespace tolvar
