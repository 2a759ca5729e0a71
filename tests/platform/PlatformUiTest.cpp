#include "platform/ui/CredentialsDialog.h"
#include "platform/ui/QtPrompter.h"
#include "platform/ui/WindowUtilitiesUi.h"

#include <QApplication>
#include <QClipboard>
#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPrinterInfo>
#include <QPushButton>
#include <QStandardItemModel>
#include <QTemporaryDir>
#include <QTimer>
#include <QTreeView>

#include <gtest/gtest.h>

#include <functional>

namespace telmon {
namespace {

// Acts on the next modal dialog once it is up; the action must close it.
void WhenModal(std::function<void(QWidget*)> act) {
  auto* timer = new QTimer(qApp);
  timer->setInterval(10);
  QObject::connect(timer, &QTimer::timeout, timer, [timer, act = std::move(act)] {
    if (QWidget* modal = QApplication::activeModalWidget()) {
      timer->stop();
      timer->deleteLater();
      act(modal);
    }
  });
  timer->start();
}

TEST(QtPrompter, MessageBoxShowsExactlyWhatWasAsked) {
  QtPrompter prompter;
  QString text;
  QString title;
  QMessageBox::Icon icon = QMessageBox::NoIcon;
  QMessageBox::StandardButtons buttons;
  QMessageBox::StandardButton defaultButton = QMessageBox::NoButton;
  WhenModal([&](QWidget* w) {
    auto* box = qobject_cast<QMessageBox*>(w);
    ASSERT_NE(box, nullptr);
    text = box->text();
    title = box->windowTitle();
    icon = box->icon();
    buttons = box->standardButtons();
    defaultButton = box->standardButton(box->defaultButton());
    box->button(QMessageBox::Cancel)->click();
  });
  const PromptAnswer answer =
      prompter.Ask({QStringLiteral("Do you want to set all devices back to polling mode?"),
                    QStringLiteral("Telmon"), PromptIcon::Exclamation, PromptButtons::YesNoCancel,
                    PromptAnswer::No});
  EXPECT_EQ(answer, PromptAnswer::Cancel);
  EXPECT_EQ(text, QStringLiteral("Do you want to set all devices back to polling mode?"));
  EXPECT_EQ(title, QStringLiteral("Telmon"));
  EXPECT_EQ(icon, QMessageBox::Warning);
  EXPECT_EQ(buttons, QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
  EXPECT_EQ(defaultButton, QMessageBox::No);

  // Escape on a Yes/No question answers No.
  WhenModal([](QWidget* w) { qobject_cast<QMessageBox*>(w)->reject(); });
  EXPECT_EQ(prompter.Ask({QStringLiteral("Sure?"), QStringLiteral("T"), PromptIcon::Question,
                          PromptButtons::YesNo, std::nullopt}),
            PromptAnswer::No);
}

TEST(QtPrompter, InputAndCredentialsTellOkFromCancel) {
  QtPrompter prompter;
  WhenModal([](QWidget* w) {
    auto* dialog = qobject_cast<QInputDialog*>(w);
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->labelText(), QStringLiteral("IP address:"));
    EXPECT_EQ(dialog->textValue(), QStringLiteral("10.0.0.1"));
    dialog->setTextValue(QString());
    dialog->accept();
  });
  const auto empty = prompter.InputText(QStringLiteral("IP address:"), QStringLiteral("T"),
                                        QStringLiteral("10.0.0.1"));
  ASSERT_TRUE(empty.has_value());
  EXPECT_TRUE(empty->isEmpty());
  WhenModal([](QWidget* w) { qobject_cast<QDialog*>(w)->reject(); });
  EXPECT_FALSE(prompter.InputText(QStringLiteral("x"), QStringLiteral("T")).has_value());

  WhenModal([](QWidget* w) {
    auto* dialog = qobject_cast<CredentialsDialog*>(w);
    ASSERT_NE(dialog, nullptr);
    auto* password = dialog->findChild<QLineEdit*>(QStringLiteral("password"));
    EXPECT_EQ(password->echoMode(), QLineEdit::Password);
    // Each field stands beside its caption, which gives it its keyboard shortcut.
    QStringList captions;
    for (const QLabel* label : dialog->findChildren<QLabel*>()) {
      if (label->buddy() != nullptr) {
        captions << label->text() + QLatin1Char('>') + label->buddy()->objectName();
      }
    }
    EXPECT_EQ(captions, QStringList({QStringLiteral("&Account:>account"),
                                     QStringLiteral("&Password:>password")}));
    QPushButton* ok = dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok);
    EXPECT_FALSE(ok->isEnabled()) << "OK before an account is typed";
    dialog->findChild<QLineEdit*>(QStringLiteral("account"))->setText(QStringLiteral(" tech "));
    EXPECT_TRUE(ok->isEnabled());
    password->setText(QStringLiteral("pw"));
    dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
  });
  const auto credentials =
      prompter.AskCredentials(QStringLiteral("Level 250"), QStringLiteral("T"));
  ASSERT_TRUE(credentials.has_value());
  EXPECT_EQ(credentials->account, QStringLiteral("tech"));
  EXPECT_EQ(credentials->password, QStringLiteral("pw"));
}

TEST(QtPrompter, FileFiltersBecomeNameFilters) {
  EXPECT_EQ(QtPrompter::NameFilters(QStringLiteral("Text Files (*.txt)|*.txt|All Files (*.*)|*.*")),
            (QStringList{QStringLiteral("Text Files (*.txt)"), QStringLiteral("All Files (*)")}));
  EXPECT_EQ(QtPrompter::NameFilters(QStringLiteral("Lists|*.lst;*.txt")),
            QStringList{QStringLiteral("Lists (*.lst *.txt)")});
  EXPECT_TRUE(QtPrompter::NameFilters(QString()).isEmpty());
}

// The file dialog offers the request's filters and names the file as asked.
TEST(QtPrompter, TheFileDialogOffersTheRequestsFilters) {
  QtPrompter prompter;
  QStringList offered;
  QString title;
  WhenModal([&](QWidget* w) {
    auto* dialog = qobject_cast<QFileDialog*>(w);
    ASSERT_NE(dialog, nullptr);
    offered = dialog->nameFilters();
    title = dialog->windowTitle();
    dialog->reject();
  });
  FileDialogRequest request;
  request.title = QStringLiteral("Save As");
  request.filter = QStringLiteral("Text Files (*.txt)|*.txt|All Files (*.*)|*.*");
  EXPECT_FALSE(prompter.SaveFileName(request).has_value());
  QTemporaryDir dir;
  const QString chosen = dir.filePath(QStringLiteral("log.txt"));
  WhenModal([&](QWidget* w) {
    auto* dialog = qobject_cast<QFileDialog*>(w);
    dialog->selectFile(chosen);
    static_cast<QDialog*>(dialog)->done(QDialog::Accepted);
  });
  // Accepted, it gives what the dialog holds (under the offscreen platform the dialog has not
  // taken the file name in yet; the folder is enough to tell an answer from a cancel).
  const std::optional<QString> saved = prompter.SaveFileName(request);
  ASSERT_TRUE(saved.has_value());
  EXPECT_TRUE(chosen.startsWith(*saved)) << saved->toStdString();
  EXPECT_EQ(offered,
            (QStringList{QStringLiteral("Text Files (*.txt)"), QStringLiteral("All Files (*)")}));
  EXPECT_EQ(title, QStringLiteral("Save As"));
}

// A request that requires an existing folder: a name in a folder that does not exist is refused
// with a message and the dialog stays open; the dialog opens in the folder asked for.
TEST(QtPrompter, TheFileDialogRefusesANameInAMissingFolderWhenAskedTo) {
  QTemporaryDir dir;
  QtPrompter prompter;
  FileDialogRequest request;
  request.title = QStringLiteral("Save Channel Tags To File");
  request.initialFolder = dir.path();
  request.requireExistingFolder = true;
  const QString missing = dir.filePath(QStringLiteral("no/such/folder/tags.txt"));
  QString openedIn;
  QString refusal;
  bool stayedOpen = false;
  WhenModal([&](QWidget* w) {
    auto* dialog = qobject_cast<QFileDialog*>(w);
    ASSERT_NE(dialog, nullptr);
    openedIn = dialog->directory().absolutePath();
    dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->setText(missing);
    WhenModal([&, dialog](QWidget* box) {
      auto* message = qobject_cast<QMessageBox*>(box);
      ASSERT_NE(message, nullptr);
      refusal = message->text();
      message->accept();
      WhenModal([&, dialog](QWidget* still) {
        stayedOpen = still == dialog;
        dialog->reject();
      });
    });
    static_cast<QDialog*>(dialog)->accept();  // the dialog's own accept, as OK calls it
  });
  EXPECT_FALSE(prompter.SaveFileName(request).has_value());
  EXPECT_EQ(openedIn, QDir(dir.path()).absolutePath());
  EXPECT_EQ(refusal, QDir::toNativeSeparators(dir.filePath(QStringLiteral("no/such/folder"))) +
                         QStringLiteral("\nThe folder does not exist.\nChoose an existing folder "
                                        "and try again."));
  EXPECT_TRUE(stayedOpen);

  // Without the requirement the same name is taken as it is.
  request.requireExistingFolder = false;
  WhenModal([&](QWidget* w) {
    auto* dialog = qobject_cast<QFileDialog*>(w);
    dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->setText(missing);
    static_cast<QDialog*>(dialog)->accept();  // the dialog's own accept, as OK calls it
  });
  EXPECT_EQ(prompter.SaveFileName(request), missing);
}

TEST(WindowUtilitiesUi, PrintoutsGoToANamedPdfWithoutAPrinter) {
  if (!QPrinterInfo::defaultPrinter().isNull()) {
    GTEST_SKIP() << "a default printer is installed; not printing on it from a test";
  }
  QTemporaryDir dir;
  const QString text = dir.filePath(QStringLiteral("mp1234.txt"));
  {
    QFile file(text);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("Messages         Printed 3/14/2024\r\n\r\nline one\r\n");
  }
  // The PDF's full path is known before printing, so the operator can be told where it goes.
  const QString pdfPath = PdfFallbackPath(QStringLiteral("Messages"), dir.path());
  EXPECT_TRUE(QFileInfo(pdfPath).isAbsolute());
  EXPECT_TRUE(pdfPath.startsWith(dir.path() + QStringLiteral("/Messages 20")));
  EXPECT_TRUE(pdfPath.endsWith(QStringLiteral(".pdf")));
  EXPECT_EQ(PrintDestinationName(pdfPath), pdfPath);
  const PrintOutcome printed = PrintTextFile(text, nullptr, pdfPath);
  ASSERT_TRUE(printed.ok) << printed.error.toStdString();
  EXPECT_TRUE(printed.pdf);
  EXPECT_EQ(printed.destination, pdfPath);
  QFile pdf(printed.destination);
  ASSERT_TRUE(pdf.open(QIODevice::ReadOnly));
  EXPECT_TRUE(pdf.read(4) == "%PDF");

  QWidget window;
  window.resize(320, 200);
  const PrintOutcome image = PrintWindowImage(&window, dir.path());
  ASSERT_TRUE(image.ok) << image.error.toStdString();
  EXPECT_TRUE(image.pdf);
  EXPECT_TRUE(image.destination.startsWith(dir.path() + QStringLiteral("/Print Screen ")));
  EXPECT_GT(QFileInfo(image.destination).size(), 0);
  EXPECT_FALSE(PrintTextFile(dir.filePath(QStringLiteral("missing.txt")), nullptr, pdfPath).ok);
}

// The about box names the program with the project's version.
TEST(WindowUtilitiesUi, AboutBoxShowsTheProjectsVersion) {
  QWidget parent;
  QString text;
  WhenModal([&](QWidget* w) {
    auto* box = qobject_cast<QMessageBox*>(w);
    ASSERT_NE(box, nullptr);
    text = box->text();
    box->accept();
  });
  ShowAboutBox(&parent, QStringLiteral("Telmon"));
  EXPECT_TRUE(text.startsWith(QStringLiteral("Telmon " TELMON_PROJECT_VERSION "\n\n")))
      << text.toStdString();
}

// The support box names the program with its version and the window, and its "Copy Details"
// button puts the details (and nothing else) on the clipboard; OK leaves the clipboard alone.
TEST(WindowUtilitiesUi, SupportBoxCopiesItsDetailsOnlyWhenAsked) {
  QWidget parent;
  parent.setWindowTitle(QStringLiteral("Telmon - DAHS 1"));
  QString text;
  QApplication::clipboard()->setText(QStringLiteral("before"));
  WhenModal([&](QWidget* w) {
    auto* box = qobject_cast<QMessageBox*>(w);
    ASSERT_NE(box, nullptr);
    text = box->text();
    box->button(QMessageBox::Ok)->click();
  });
  ShowSupportBox(&parent, QStringLiteral("Telmon"));
  EXPECT_TRUE(
      text.startsWith(QStringLiteral("For technical support, call your system "
                                     "administrator and give the details below.\n\n"
                                     "Program: Telmon " TELMON_PROJECT_VERSION "\n")))
      << text.toStdString();
  EXPECT_TRUE(text.contains(QStringLiteral("\nWindow: Telmon - DAHS 1\n")));
  EXPECT_EQ(QApplication::clipboard()->text(), QStringLiteral("before"));

  WhenModal([](QWidget* w) {
    for (QAbstractButton* button : qobject_cast<QMessageBox*>(w)->buttons()) {
      if (button->text() == QStringLiteral("&Copy Details")) {
        button->click();
      }
    }
  });
  ShowSupportBox(&parent, QStringLiteral("Telmon"));
  EXPECT_EQ(QApplication::clipboard()->text(), text.section(QStringLiteral("\n\n"), 1));
}

TEST(WindowUtilitiesUi, AutoSizeFitsTheWidestCellOrTheTitle) {
  QStandardItemModel model(0, 2);
  model.setHorizontalHeaderLabels({QStringLiteral("Time"), QStringLiteral("A rather long title")});
  model.appendRow({new QStandardItem(QStringLiteral("1")), new QStandardItem(QStringLiteral("x"))});
  model.appendRow(
      {new QStandardItem(QStringLiteral("2")), new QStandardItem(QString(80, QLatin1Char('W')))});
  QTreeView view;
  view.setModel(&model);
  view.resize(200, 200);
  view.show();
  view.setColumnWidth(1, 10);
  AutoSizeColumn(&view, 1);
  const int contents = view.columnWidth(1);
  EXPECT_GT(contents, 300);
  model.item(1, 1)->setText(QStringLiteral("x"));
  AutoSizeColumn(&view, 1, AutoSizeToContents);
  const int narrow = view.columnWidth(1);
  EXPECT_LT(narrow, contents);
  AutoSizeColumn(&view, 1, AutoSizeUseHeader);
  EXPECT_GE(view.columnWidth(1), view.header()->sectionSizeHint(1));
  AutoSizeColumn(&view, 9);  // no such column: nothing happens
}

}  // namespace
}  // namespace telmon
