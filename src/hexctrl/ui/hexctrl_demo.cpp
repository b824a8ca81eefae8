// Opens a file in the hex control alone: hexctrl_demo [--dark] [--screenshot PICTURE] [FILE]

#include <cstdio>

#include <QAction>
#include <QApplication>
#include <QCommandLineParser>
#include <QFileDialog>
#include <QMainWindow>
#include <QMenuBar>
#include <QMessageBox>
#include <QStatusBar>
#include <QStyle>
#include <QStyleFactory>

#include "hexctrl/ui/hex_classes.h"
#include "hexctrl/ui/hex_editor.h"

namespace tolvar {

namespace {

HexTexts EnglishTexts()
{
    const auto text = [](const char* english) { return QString::fromUtf8(english); };
    HexTexts texts;
    texts.controlName = text("Bytes");
    texts.caretAt = text("Offset %1, byte %2, character %3");
    texts.selected = text("%1 to %2, %3 bytes");
    texts.emptyData = text("No bytes");
    texts.commands = {text("&Undo"),      text("&Redo"),          text("Cu&t"),          text("&Copy"),
                      text("&Paste"),     text("&Delete"),        text("Select &All"),   text("&Find..."),
                      text("Find &Next"), text("Find Pre&vious"), text("Switch Column"), text("To Start"),
                      text("To End")};
    texts.readings = {text("8 bit"),    text("16 bit"), text("32 bit"), text("64 bit"),
                      text("FILETIME"), text("GUID"),   text("UTF-16")};
    texts.findPattern = text("Find");
    texts.findHex = text("Hex");
    texts.findText = text("Text");
    texts.findWideText = text("UTF-16");
    texts.matchCase = text("Match case");
    texts.closeFind = text("Close");
    texts.badHex = text("Pairs of hexadecimal digits, please");
    texts.notFound = text("Not found");
    texts.wrappedToStart = text("Went on at the start");
    texts.wrappedToEnd = text("Went on at the end");
    return texts;
}

QPalette DarkPalette()
{
    QPalette palette(QColor(45, 45, 48), QColor(45, 45, 48));
    palette.setColor(QPalette::Base, QColor(30, 30, 30));
    palette.setColor(QPalette::Highlight, QColor(47, 101, 168));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(role, QColor(228, 228, 228));
        palette.setColor(QPalette::Disabled, role, QColor(128, 128, 128));
    }
    return palette;
}

class DemoWindow final : public QMainWindow {
public:
    DemoWindow() : m_pEditor(new HexEditor(EnglishTexts(), this))
    {
        setCentralWidget(m_pEditor);
        m_pEditor->Control().SetRowStep(8);
        m_pEditor->setContextMenuPolicy(Qt::ActionsContextMenu);
        QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
        file->addAction(QStringLiteral("&Open..."), QKeySequence::Open, this,
                        [this] { Open(QFileDialog::getOpenFileName(this)); });
        file->addAction(QStringLiteral("&Save"), QKeySequence::Save, this, [this] { Save(); });
        file->addAction(QStringLiteral("&Quit"), QKeySequence::Quit, this, &QWidget::close);
        QMenu* edit = menuBar()->addMenu(QStringLiteral("&Edit"));
        for (std::size_t command = 0; command < static_cast<std::size_t>(HexCommand::kCount); ++command) {
            edit->addAction(m_pEditor->Action(static_cast<HexCommand>(command)));
        }
        HexControl& control = m_pEditor->Control();
        connect(&control, &HexControl::ModifiedChanged, this, &QWidget::setWindowModified);
        connect(&control, &HexControl::SelectionChanged, this,
                [this] { statusBar()->showMessage(m_pEditor->Control().AccessibleValue()); });
        resize(m_pEditor->Control().sizeHint().width(), 480);
    }

    bool Open(const QString& name)
    {
        const QByteArray path = name.toLocal8Bit();
        if (name.isEmpty() || Send(HexMessage::kLoadFile, path) != 0) {
            return false;
        }
        m_pEditor->Control().PutCaret(0);
        setWindowTitle(name + QStringLiteral("[*] - Hex control"));
        m_pEditor->setFocus();
        return true;
    }

private:
    qintptr Send(HexMessage message, const QByteArray& path)
    {
        return m_pEditor->Control().Send(message, 0, reinterpret_cast<quintptr>(path.constData()));
    }

    void Save()
    {
        if (const qintptr result = m_pEditor->Control().Send(HexMessage::kSave); result != 0) {
            QMessageBox::warning(this, windowTitle(), QStringLiteral("Not saved: code %1").arg(result));
        }
    }

    HexEditor* m_pEditor; ///< owned by the window
};

} // namespace

} // namespace tolvar

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("The hex control alone"));
    parser.addHelpOption();
    parser.addOption({QStringLiteral("dark"), QStringLiteral("Dark colours")});
    parser.addOption({QStringLiteral("screenshot"), QStringLiteral("Write a picture of the window and end"),
                      QStringLiteral("PICTURE")});
    parser.addPositionalArgument(QStringLiteral("FILE"), QStringLiteral("What to open"));
    parser.process(application);
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QApplication::setPalette(parser.isSet(QStringLiteral("dark")) ? tolvar::DarkPalette()
                                                                  : QApplication::style()->standardPalette());
    tolvar::RegisterHexClasses();
    int code = 0;
    {
        tolvar::DemoWindow window;
        const QStringList names = parser.positionalArguments();
        if (!names.isEmpty() && !window.Open(names.first())) {
            std::fprintf(stderr, "%s can't be opened\n", qPrintable(names.first()));
            return 1;
        }
        window.show();
        if (parser.isSet(QStringLiteral("screenshot"))) {
            QApplication::processEvents();
            code = window.grab().save(parser.value(QStringLiteral("screenshot"))) ? 0 : 1;
        } else {
            code = QApplication::exec();
        }
    }
    tolvar::UnregisterHexClasses();
    return code;
}
