#include <QApplication>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fixtures/window_fixture.h"
#include "form_parent.h"
#include "forms/binary_form.h"
#include "forms/dword_form.h"
#include "forms/rich_edit_field.h"
#include "forms/string_form.h"
#include "hexctrl/ui/hex_classes.h"
#include "hexctrl/ui/hex_editor.h"

namespace tolvar {
namespace {

class ValueForms : public testing::Test {
protected:
    ValueForms()
    {
        RegisterHexClasses();
        parent.resize(500, 300);
        parent.show();
        QApplication::setActiveWindow(&parent);
    }

    template <class Form>
    std::unique_ptr<Form> Open(const FormRequest& request)
    {
        auto form = std::make_unique<Form>(fixture.context, &parent);
        form->resize(parent.size());
        form->show();
        form->LoadValue(request);
        return form;
    }

    /// The data that OK hands out; "-" where it hands out nothing.
    std::string OkOf(CValueForm& form)
    {
        form.OkButton().click();
        return parent.edit && parent.edit->data ? *parent.edit->data : "-";
    }

    fixtures::WindowFixture fixture;
    FormParent parent;
};

FormRequest Existing(DWORD type, std::string text, std::string name = "n")
{
    return {std::move(text), false, false, type, std::move(name)};
}

FormRequest New(DWORD type)
{
    return {"not read", false, true, type, "not read"};
}

TEST_F(ValueForms, HandsOutNothingWhereNothingWasChanged)
{
    // Blanks of all kinds, lone surrogates, control characters, and lines: as the stored text has them.
    for (const std::string text : {"", "plain", "two\nlines\n",
                                   "hard\xC2\xA0"
                                   "blank\ttab",
                                   "\xED\xA0\x80 lone", "a\x01z", "\xF0\x9F\x98\x80", " ends with a blank "}) {
        for (const DWORD type : {REG_SZ, REG_EXPAND_SZ, REG_LINK}) {
            const auto form = Open<CStringForm>(Existing(type, text));
            EXPECT_EQ(OkOf(*form), "-") << text;
            form->DataField().moveCursor(QTextCursor::Start);
            form->DataField().insertPlainText(QStringLiteral("x"));
            EXPECT_EQ(OkOf(*form), "x" + text) << text; // and what was not touched comes back
        }
    }
    for (const std::string text : {"00000000", "ffffffff", "01000000"}) {
        const auto form = Open<CDwordForm>(Existing(REG_DWORD, text));
        EXPECT_EQ(OkOf(*form), "-");
    }
}

TEST_F(ValueForms, ShowAListInLines)
{
    const auto form = Open<CStringForm>(Existing(REG_MULTI_SZ, "a;b"));
    EXPECT_EQ(form->DataField().toPlainText(), "a\nb");
    form->DataField().moveCursor(QTextCursor::End);
    QTest::keyClicks(&form->DataField(), "c");
    QTest::keyClick(&form->DataField(), Qt::Key_Return);
    QTest::keyClicks(&form->DataField(), "d");
    EXPECT_EQ(OkOf(*form), "a;bc;d");
    EXPECT_EQ(parent.edit->type, static_cast<std::int32_t>(REG_MULTI_SZ));
    EXPECT_EQ(parent.edit->name, "n");
    EXPECT_EQ(parent.edit->newName, "n");
    EXPECT_FALSE(parent.isNew);
}

TEST_F(ValueForms, NameANewValueAndNeverRenameAnOldOne)
{
    const auto made = Open<CStringForm>(New(REG_SZ));
    EXPECT_TRUE(made->NameField().hasFocus());
    QTest::keyClicks(&made->NameField(), "name");
    EXPECT_EQ(OkOf(*made), ""); // a new value may be empty
    EXPECT_TRUE(parent.isNew);
    EXPECT_EQ(parent.edit->newName, "name");
    const auto unnamed = Open<CDwordForm>(New(REG_DWORD));
    EXPECT_EQ(OkOf(*unnamed), "00000000");
    EXPECT_EQ(parent.edit->newName, ""); // the default value
    const auto old = Open<CStringForm>(Existing(REG_SZ, "text", "line\nfeed"));
    EXPECT_TRUE(old->DataField().hasFocus());
    QTest::keyClicks(&old->NameField(), "x");
    QTest::keyClicks(&old->DataField(), "x");
    OkOf(*old);
    EXPECT_EQ(parent.edit->name, "line\nfeed"); // though its field can't show it so
}

TEST_F(ValueForms, EndByKeysToo)
{
    struct Case {
        Qt::Key key;
        Qt::KeyboardModifiers modifiers;
        bool hasData;
    };
    for (const Case& c :
         {Case{Qt::Key_Escape, Qt::NoModifier, false}, Case{Qt::Key_Return, Qt::ControlModifier, true}}) {
        const auto form = Open<CStringForm>(Existing(REG_SZ, "text"));
        QTest::keyClicks(&form->DataField(), "x");
        parent.done = 0;
        QTest::keyClick(&form->DataField(), c.key, c.modifiers);
        EXPECT_EQ(parent.done, 1);
        EXPECT_EQ(parent.edit.has_value(), c.hasData);
    }
    const auto form = Open<CDwordForm>(Existing(REG_DWORD, "00000001"));
    parent.done = 0;
    QTest::keyClicks(&form->NumberField(), "7");
    QTest::keyClick(&form->NumberField(), Qt::Key_Return);
    EXPECT_EQ(parent.done, 1);
    EXPECT_EQ(parent.edit->data, "00000007"); // the old number was selected
}

TEST_F(ValueForms, GoRoundByTheTabKey)
{
    const auto form = Open<CDwordForm>(New(REG_DWORD));
    std::vector<QWidget*> visited;
    for (int step = 0; step < 6; ++step) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        visited.push_back(QApplication::focusWidget());
    }
    EXPECT_THAT(visited, testing::ElementsAre(&form->NumberField(), &form->DecimalButton(), &form->HexadecimalButton(),
                                              &form->OkButton(), &form->CancelButton(), &form->NameField()));
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab, Qt::ShiftModifier);
    EXPECT_EQ(QApplication::focusWidget(), &form->CancelButton());
    const auto text = Open<CStringForm>(New(REG_SZ));
    for (QWidget* next : std::initializer_list<QWidget*>{&text->DataField(), &text->OkButton(), &text->CancelButton(),
                                                         &text->NameField()}) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        EXPECT_EQ(QApplication::focusWidget(), next);
    }
    EXPECT_EQ(text->DataField().toPlainText(), ""); // no tab was typed
}

TEST_F(ValueForms, KeepTheNumberWhileItsBaseChanges)
{
    const auto form = Open<CDwordForm>(Existing(REG_DWORD_BIG_ENDIAN, "ffffffff"));
    EXPECT_EQ(form->NumberField().text(), "4294967295");
    form->HexadecimalButton().click();
    EXPECT_EQ(form->NumberField().text(), "ffffffff");
    form->DecimalButton().click();
    EXPECT_EQ(form->NumberField().text(), "4294967295");
    form->NumberField().clear();
    QTest::keyClicks(&form->NumberField(), "2x5!5");
    EXPECT_EQ(form->NumberField().text(), "255");
    form->HexadecimalButton().click();
    EXPECT_EQ(form->NumberField().text(), "ff");
    QTest::keyClicks(&form->NumberField(), "Ag0");
    EXPECT_EQ(form->NumberField().text(), "ff0");
    EXPECT_EQ(OkOf(*form), "00000ff0");
    form->DecimalButton().click();
    form->NumberField().clear();
    QTest::keyClicks(&form->NumberField(), "42949672960");
    EXPECT_EQ(OkOf(*form), "fffffffa"); // 4294967296 lost its 6 as it was typed, and then came the 0
}

TEST_F(ValueForms, TakeANumberOf64Bits)
{
    const auto form = Open<CDwordForm>(Existing(REG_QWORD, "ff ff ff ff ff ff ff ff "));
    EXPECT_EQ(form->NumberField().text(), "18446744073709551615");
    EXPECT_EQ(OkOf(*form), "-");
    form->NumberField().clear();
    QTest::keyClicks(&form->NumberField(), "4294967296");
    EXPECT_EQ(OkOf(*form), "00 00 00 00 01 00 00 00 ");
}

TEST_F(ValueForms, EditBytes)
{
    const auto form = Open<CBinaryForm>(Existing(REG_BINARY, "00 ff 41 "));
    HexControl& control = form->Editor().Control();
    EXPECT_TRUE(control.hasFocus());
    EXPECT_EQ(OkOf(*form), "-");
    QTest::keyClicks(&control, "7f");
    EXPECT_EQ(OkOf(*form), "7f ff 41 ");
    EXPECT_FALSE(parent.edit->isStored);
    QTest::keyClick(&control, Qt::Key_Z, Qt::ControlModifier);
    QTest::keyClick(&control, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(OkOf(*form), "-"); // a change and a change back is none
    for (QWidget* next :
         std::initializer_list<QWidget*>{&form->OkButton(), &form->CancelButton(), &form->NameField(), &control}) {
        control.setFocus();
        while (QApplication::focusWidget() != next) {
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        }
    }
    QTest::keyClick(&control, Qt::Key_F, Qt::ControlModifier);
    EXPECT_TRUE(form->Editor().FindBar().isVisible());
}

TEST_F(ValueForms, TakeBytesOfAnySizeAndKeepAStoredTextStored)
{
    const auto empty = Open<CBinaryForm>(Existing(REG_BINARY, ""));
    EXPECT_EQ(OkOf(*empty), "-");
    const auto made = Open<CBinaryForm>(New(12));
    EXPECT_EQ(OkOf(*made), "");
    EXPECT_EQ(parent.edit->type, 12);
    std::string large;
    for (int i = 0; i < 200'000; ++i) {
        large += "a5 ";
    }
    const auto form = Open<CBinaryForm>({large, true, false, REG_SZ, "n"});
    EXPECT_EQ(OkOf(*form), "-");
    QTest::keyClicks(&form->Editor().Control(), "00");
    large.replace(0, 2, "00");
    EXPECT_EQ(OkOf(*form), large);
    EXPECT_TRUE(parent.edit->isStored);
}

TEST_F(ValueForms, GiveAButtonUnderThePointerTheFocusInTheFormOfNumbers)
{
    const auto form = Open<CDwordForm>(New(REG_DWORD));
    QEnterEvent enter(QPointF(1, 1), QPointF(1, 1), QPointF(1, 1));
    QCoreApplication::sendEvent(&form->CancelButton(), &enter);
    EXPECT_TRUE(form->CancelButton().hasFocus());
}

} // namespace
} // namespace tolvar
