#include <shared_mutex>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "cli/command.h"
#include "cli/json_text.h"
#include "cli/key_contents.h"
#include "platform/registry/key_reference.h"
#include "platform/system/text.h"
#include "registry/reg_key.h"
#include "registry/value_text.h"

namespace tolvar {

namespace {

class GetCommand final : public Command {
public:
    CLI::App* Register(CLI::App& program) override
    {
        CLI::App* app = program.add_subcommand("get", "Print the values of a key in their text form, or one of them");
        app->add_option("KEY", m_path, "Full path of the key")->required();
        m_nameOption = app->add_option("NAME", m_name, "Name of the value; empty for the default value");
        app->add_flag("--raw", m_isRaw, "Print the stored bytes of the one value, and nothing else");
        return app;
    }

    void Run(CommandContext& context) override
    {
        const RegKey key(OpenForCommand(context, m_path, KEY_READ));
        if (!key) {
            return;
        }
        const bool isOne = m_nameOption->count() != 0;
        if (m_isRaw) {
            PrintRaw(context);
            return;
        }
        std::vector<ListedValue> values(isOne ? 1 : 0);
        LSTATUS code = ERROR_SUCCESS;
        if (isOne) {
            code = ReadValue(key.Get(), m_name, values[0]);
        } else {
            values = ValuesOf(key.Get(), &code);
        }
        if (code != ERROR_SUCCESS) {
            context.Report({static_cast<ErrorCode>(code), isOne ? m_path + ", value " + m_name : m_path});
            if (isOne) {
                return;
            }
        }
        for (const ListedValue& value : values) {
            Print(context, value, isOne);
        }
    }

private:
    /// The stored bytes, without the conversion of texts that the registry's calls make.
    void PrintRaw(CommandContext& context) const
    {
        const std::shared_lock lock(context.registry.Lock());
        const Result<KeyReference> key = context.registry.Find(m_path);
        const std::optional<std::u16string> name = ToUtf16(m_name);
        if (!key || !name || !key->HasHive()) {
            context.Report(key ? Error{ErrorCode::kFileNotFound, m_path} : key.error());
            return;
        }
        const Checked<KeyNode> node = key->Node();
        const auto value = node ? key->hive->FindValue(*node, *name) : tl::unexpected(node.error());
        if (value && !*value) {
            context.Report({ErrorCode::kFileNotFound, m_path + ", value " + m_name});
            return;
        }
        const auto data = value ? key->hive->ReadData(**value) : tl::unexpected(value.error());
        if (!data) {
            context.Report(key->hive->ToError(data.error()));
            return;
        }
        context.out.Write({reinterpret_cast<const char*>(data->data()), data->size()});
    }

    static void Print(CommandContext& context, const ListedValue& value, bool isOne)
    {
        const std::string text = ValueToText(value.type, value.data, ExpandStrings::kNo);
        Output& out = context.out;
        if (context.json) {
            out.Write(fmt::format(R"({{"name":{},"type":{},"typeName":"{}","text":{}}})"
                                  "\n",
                                  JsonString(value.name), value.type, ValueTypeName(value.type), JsonString(text)));
            return;
        }
        if (!isOne) {
            out.WriteName(value.name.empty() ? "(Default)" : value.name);
            out.Write("\t" + ValueTypeName(value.type) + "\t");
        }
        out.WriteName(text);
        out.Write("\n");
    }

    std::string m_path;
    std::string m_name;
    CLI::Option* m_nameOption = nullptr;
    bool m_isRaw = false;
};

} // namespace

std::unique_ptr<Command> MakeGetCommand()
{
    return std::make_unique<GetCommand>();
}

} // namespace tolvar
