#include "check/Reports.h"

#include <QFile>
#include <QSaveFile>

#include <libxml/tree.h>
#include <libxml/xmlsave.h>

#include <algorithm>
#include <memory>

namespace telmon::check {

namespace {

QString Seconds(qint64 ms) { return QString::number(static_cast<double>(ms) / 1000.0, 'f', 3); }

// The step's number and title as every report names it.
QString Name(std::size_t index, const StepResult& r) {
  return r.line > 0 ? QStringLiteral("%1 (line %2): %3").arg(index + 1).arg(r.line).arg(r.title)
                    : QStringLiteral("%1: %2").arg(index + 1).arg(r.title);
}

struct DocFree {
  void operator()(xmlDoc* doc) const noexcept { xmlFreeDoc(doc); }
};

const xmlChar* X(const QByteArray& utf8) {
  return reinterpret_cast<const xmlChar*>(utf8.constData());
}

void SetAttribute(xmlNode* node, const char* name, const QString& value) {
  xmlSetProp(node, reinterpret_cast<const xmlChar*>(name), X(value.toUtf8()));
}

xmlNode* AddChild(xmlNode* parent, const char* name, const QString& text = QString()) {
  // xmlNewTextChild escapes the text; xmlNewChild would not.
  return xmlNewTextChild(parent, nullptr, reinterpret_cast<const xmlChar*>(name),
                         text.isEmpty() ? nullptr : X(text.toUtf8()));
}

void AddCase(xmlNode* suite, std::size_t index, const StepResult& r, const QString& suiteName) {
  xmlNode* tc = AddChild(suite, "testcase");
  SetAttribute(tc, "classname", suiteName);
  SetAttribute(tc, "name", Name(index, r));
  SetAttribute(tc, "time", Seconds(r.elapsedMs));
  if (r.outcome == StepOutcome::Failed) {
    xmlNode* failure = AddChild(tc, "failure", r.detail);
    SetAttribute(failure, "message",
                 QStringLiteral("observed: %1%2")
                     .arg(r.observed.isEmpty() ? QStringLiteral("(nothing)") : r.observed,
                          r.detail.isEmpty() ? QString() : QStringLiteral("; ") + r.detail));
  } else if (r.outcome == StepOutcome::NotRun) {
    AddChild(tc, "skipped");
  } else if (!r.observed.isEmpty() || !r.detail.isEmpty()) {
    AddChild(tc, "system-out",
             r.observed + (r.detail.isEmpty() ? QString() : QStringLiteral("\n") + r.detail));
  }
}

}  // namespace

QString TableReport(const RunReport& report) {
  QString out;
  if (!report.name.isEmpty()) {
    out += report.name + QLatin1Char('\n');
  }
  int width = 4;
  for (std::size_t i = 0; i < report.results.size(); ++i) {
    width = std::max(width, static_cast<int>(Name(i, report.results[i]).size()));
  }
  width = std::min(width, 60);
  out += QStringLiteral("%1  %2  %3  %4\n")
             .arg(QStringLiteral("step"), -width)
             .arg(QStringLiteral("result"), -7)
             .arg(QStringLiteral("time s"), 8)
             .arg(QStringLiteral("observed"));
  int passed = 0;
  for (std::size_t i = 0; i < report.results.size(); ++i) {
    const StepResult& r = report.results[i];
    passed += r.passed() ? 1 : 0;
    out += QStringLiteral("%1  %2  %3  %4\n")
               .arg(Name(i, r), -width)
               .arg(QLatin1String(OutcomeText(r.outcome)), -7)
               .arg(Seconds(r.elapsedMs), 8)
               .arg(r.observed);
    if (!r.detail.isEmpty()) {
      out += QStringLiteral("%1  %2\n").arg(QString(), -width).arg(r.detail);
    }
  }
  if (!report.stopReason.isEmpty()) {
    out += QStringLiteral("Stopped: %1\n").arg(report.stopReason);
  }
  out += QStringLiteral("%1 of %2 passed in %3 s: %4\n")
             .arg(passed)
             .arg(report.results.size())
             .arg(Seconds(report.TotalMs()))
             .arg(report.AllPassed() ? QStringLiteral("PASS") : QStringLiteral("FAIL"));
  return out;
}

QString TapReport(const RunReport& report) {
  QString out = QStringLiteral("TAP version 13\n1..%1\n").arg(report.results.size());
  for (std::size_t i = 0; i < report.results.size(); ++i) {
    const StepResult& r = report.results[i];
    out += QStringLiteral("%1 %2 - %3")
               .arg(r.passed() ? QStringLiteral("ok") : QStringLiteral("not ok"))
               .arg(i + 1)
               .arg(Name(i, r));
    out += r.outcome == StepOutcome::NotRun ? QStringLiteral(" # SKIP not run\n")
                                            : QStringLiteral(" # %1 s\n").arg(Seconds(r.elapsedMs));
    if (!r.passed() || !r.detail.isEmpty()) {
      out += QStringLiteral("  ---\n  observed: '%1'\n")
                 .arg(QString(r.observed).replace('\'', QStringLiteral("''")));
      if (!r.detail.isEmpty()) {
        out += QStringLiteral("  message: '%1'\n")
                   .arg(QString(r.detail).replace('\'', QStringLiteral("''")));
      }
      out += QStringLiteral("  ...\n");
    }
  }
  if (!report.stopReason.isEmpty()) {
    out += QStringLiteral("# Stopped: %1\n").arg(report.stopReason);
  }
  return out;
}

QByteArray JUnitReport(const RunReport& report, const QString& suiteName) {
  const std::unique_ptr<xmlDoc, DocFree> doc(xmlNewDoc(reinterpret_cast<const xmlChar*>("1.0")));
  xmlNode* suites = xmlNewNode(nullptr, reinterpret_cast<const xmlChar*>("testsuites"));
  xmlDocSetRootElement(doc.get(), suites);
  xmlNode* suite = AddChild(suites, "testsuite");
  int failures = 0;
  int skipped = 0;
  for (const StepResult& r : report.results) {
    failures += r.outcome == StepOutcome::Failed ? 1 : 0;
    skipped += r.outcome == StepOutcome::NotRun ? 1 : 0;
  }
  SetAttribute(suite, "name", report.name.isEmpty() ? suiteName : report.name);
  SetAttribute(suite, "tests", QString::number(report.results.size()));
  SetAttribute(suite, "failures", QString::number(failures));
  SetAttribute(suite, "errors", QString::number(report.stopReason.isEmpty() ? 0 : 1));
  SetAttribute(suite, "skipped", QString::number(skipped));
  SetAttribute(suite, "time", Seconds(report.TotalMs()));
  for (std::size_t i = 0; i < report.results.size(); ++i) {
    AddCase(suite, i, report.results[i], suiteName);
  }
  if (!report.stopReason.isEmpty()) {
    AddChild(suite, "system-err", QStringLiteral("Stopped: ") + report.stopReason);
  }
  xmlChar* text = nullptr;
  int size = 0;
  xmlDocDumpFormatMemoryEnc(doc.get(), &text, &size, "UTF-8", 1);
  QByteArray out(reinterpret_cast<const char*>(text), size);
  xmlFree(text);
  return out;
}

bool WriteJUnitFile(const RunReport& report, const QString& suiteName, const QString& path,
                    QString* error) {
  QSaveFile file(path);
  if (!file.open(QIODevice::WriteOnly) || file.write(JUnitReport(report, suiteName)) < 0 ||
      !file.commit()) {
    *error = QStringLiteral("cannot write %1 (%2)").arg(path, file.errorString());
    return false;
  }
  return true;
}

}  // namespace telmon::check
