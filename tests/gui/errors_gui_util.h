#pragma once
// Shared pieces of the tests of the "Errors" and "Sensitivity modeling" pages: the shipped
// example's UVX file made by task 1, the observation's telescopes, byte comparison, and the
// command-line program run on the same inputs.

#include <QFile>
#include <QProcess>
#include <QtTest>
#include <string>
#include <vector>

#include "app/task_runner.h"
#include "gui_test_util.h"

// Task 1 on the shipped example into `out`; empty on success, else why not.
inline std::string MakeExampleUvx(const AGuiTestFolder& folder, const std::string& out) {
  MessageRecorder messages;
  const ATaskOutcome o =
      RunTask1(folder.File("ground_space_3c345.json"), out, folder.base, nullptr, nullptr, messages);
  return o.ok ? std::string() : o.error;
}

// The telescopes of the example observation, in its order (as task 1 writes its AN table).
inline std::vector<std::string> ExampleTelescopes(const AGuiTestFolder& folder) {
  AMObservation obs;
  std::string error;
  std::vector<std::string> names;
  if (!LoadObservationAny(folder.File("ground_space_3c345.json"), folder.base, obs, error)) return names;
  for (int k = 0; k < obs.telescopes.GetSize(); ++k) names.push_back(obs.telescopes[k].name);
  return names;
}

inline QByteArray FileBytes(const std::string& path) {
  QFile f(QString::fromStdString(path));
  return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// Index of the first differing byte, -1 when the files are equal, -2 when the sizes differ.
inline long long FirstDifference(const std::string& a_path, const std::string& b_path) {
  const QByteArray a = FileBytes(a_path), b = FileBytes(b_path);
  if (a.size() != b.size()) return -2;
  for (qsizetype i = 0; i < a.size(); ++i)
    if (a[i] != b[i]) return i;
  return -1;
}

// Runs `qvlmodel ARGS`; its exit code (-1 when it did not finish), stderr in *err.
inline int RunCli(const QStringList& args, QString* err = nullptr) {
  QProcess p;
  p.start(QVLMODEL_EXE, args);
  if (!p.waitForFinished(120000)) return -1;
  if (err) *err = QString::fromUtf8(p.readAllStandardError());
  return p.exitCode();
}

inline QString Q(const std::string& s) { return QString::fromStdString(s); }
