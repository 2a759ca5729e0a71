// What a site administrator gets from the package: every program answers --version with the
// project's version (and --help) without a display, each manual page keeps up with its
// program's own help, and the desktop metadata names this release, the programs and pictures
// the repository has.

#include "util/UtilityXMLDOMFunctions.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>

#include <gtest/gtest.h>

namespace telmon::test {
namespace {

struct Program {
  const char* name;
  const char* path;
};
constexpr Program Programs[] = {{"telmon", TELMON_EXE},
                                {"telmon-check", TELMON_CHECK_EXE},
                                {"telmon-site", TELMON_SITE_EXE},
                                {"iossim", IOSSIM_EXE},
                                {"telmon-serve", TELMON_SERVE_EXE}};

struct Output {
  int exitCode = -1;
  QString out;
};

// Run as over ssh or from a script: no display, no window system chosen.
Output RunProgram(const Program& program, const QString& argument) {
  QProcess process;
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  for (const char* name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"}) {
    environment.remove(QString::fromLatin1(name));
  }
  process.setProcessEnvironment(environment);
  process.start(QString::fromUtf8(program.path), {argument});
  EXPECT_TRUE(process.waitForFinished(30000)) << program.name;
  return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
          QString::fromUtf8(process.readAllStandardOutput())};
}

QString ReadText(const QString& path) {
  QFile file(path);
  EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
  return QString::fromUtf8(file.readAll());
}

TEST(Programs, EveryVersionIsTheProjects) {
  for (const Program& program : Programs) {
    const Output version = RunProgram(program, QStringLiteral("--version"));
    EXPECT_EQ(version.exitCode, 0) << program.name;
    EXPECT_EQ(version.out.toStdString(),
              std::string(program.name) + " " + TELMON_PROJECT_VERSION + "\n");
  }
}

// The options ("--name") and environment variables (NAMES_LIKE_THIS) a text names, each once.
QStringList OptionsAndVariables(const QString& text) {
  static const QRegularExpression names(
      QStringLiteral(R"((?<![\w-])(--[a-z][a-z0-9-]*|[A-Z][A-Z0-9]*_[A-Z0-9_]+)(?![\w-]))"));
  QStringList found;
  for (const QRegularExpressionMatch& match : names.globalMatch(text)) {
    if (!found.contains(match.captured(1))) {
      found << match.captured(1);
    }
  }
  return found;
}

TEST(ManualPages, NameEveryOptionAndVariableTheProgramsHelpNames) {
  for (const Program& program : Programs) {
    const Output help = RunProgram(program, QStringLiteral("--help"));
    ASSERT_EQ(help.exitCode, 0) << program.name;
    const QStringList inHelp = OptionsAndVariables(help.out);
    EXPECT_GE(inHelp.size(), 2) << program.name << " --help names no options";
    const QStringList inPage = OptionsAndVariables(
        ReadText(QStringLiteral(TELMON_SOURCE_DIR "/packaging/man/%1.1.scd").arg(program.name)));
    for (const QString& name : inHelp) {
      EXPECT_TRUE(inPage.contains(name))
          << program.name << "(1) does not name " << name.toStdString();
    }
  }
  // The helper itself: a longer option does not stand for a shorter one, nor a word for a name.
  EXPECT_EQ(OptionsAndVariables(QStringLiteral("--package --pack, TELMON_IOS_HOST_X IOS-HOST")),
            (QStringList{QStringLiteral("--package"), QStringLiteral("--pack"),
                         QStringLiteral("TELMON_IOS_HOST_X")}));
}

TEST(Metainfo, ReleasesTheProjectVersionWithTheProgramsAndPicturesOfTheRepository) {
  const xml::XmlDocument doc =
      xml::ParseXmlDocument(nullptr, ReadText(QStringLiteral(TELMON_METAINFO)));
  ASSERT_TRUE(doc);
  const xml::XmlElement release = xml::SelectSingleNode(doc, "/component/releases/release[1]");
  EXPECT_EQ(xml::GetAttributeText(release, "version"), TELMON_PROJECT_VERSION);
  EXPECT_EQ(xml::GetAttributeText(release, "date"), TELMON_RELEASE_DATE);

  QSet<QString> binaries;
  for (const xml::XmlElement binary : xml::SelectNodes(doc, "/component/provides/binary")) {
    binaries.insert(xml::GetNodeText(binary, QStringLiteral(".")));
  }
  QSet<QString> programs;
  for (const Program& program : Programs) {
    programs.insert(QString::fromUtf8(program.name));
  }
  EXPECT_EQ(binaries, programs);
  // What a software centre shows names every program the package installs.
  const QString description =
      xml::GetNodeText(xml::SelectSingleNode(doc, "/component/description"), QStringLiteral("."));
  const QString releaseNote = xml::GetNodeText(release, QStringLiteral("description"));
  for (const QString& program : programs) {
    if (program != QLatin1String("telmon")) {
      EXPECT_TRUE(description.contains(program)) << program.toStdString();
      EXPECT_TRUE(releaseNote.contains(program)) << program.toStdString();
    }
  }

  const std::vector<xml::XmlElement> images =
      xml::SelectNodes(doc, "/component/screenshots/screenshot/image");
  EXPECT_GE(images.size(), 3U);
  const QDir pictures(QStringLiteral(TELMON_SOURCE_DIR "/docs/screenshots"));
  for (const xml::XmlElement image : images) {
    const QString url = xml::GetNodeText(image, QStringLiteral("."));
    EXPECT_TRUE(url.startsWith(QLatin1String("https://"))) << url.toStdString();
    EXPECT_TRUE(pictures.exists(url.section(QLatin1Char('/'), -1))) << url.toStdString();
  }

  // The desktop entry the metainfo launches sits beside it and shows the icon of the same name.
  const QString id = xml::GetNodeText(xml::DocumentElement(doc), QStringLiteral("id"));
  const QString launchable =
      xml::GetNodeText(xml::DocumentElement(doc), QStringLiteral("launchable"));
  EXPECT_EQ(launchable, id + QStringLiteral(".desktop"));
  const QString desktop =
      ReadText(QFileInfo(QStringLiteral(TELMON_METAINFO)).dir().filePath(launchable));
  EXPECT_TRUE(desktop.contains(QStringLiteral("\nIcon=") + id + QLatin1Char('\n')));
  EXPECT_TRUE(desktop.contains(QStringLiteral("\nExec=telmon ")));
}

}  // namespace
}  // namespace telmon::test
