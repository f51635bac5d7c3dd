#pragma once
// The screenshots of the desktop program (make screenshots): each file of this folder adds its
// shots to the list; the program builds every widget with the shipped example loaded, lets it
// lay itself out on the offscreen platform and writes it as a PNG into the output folder.

#include <QWidget>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/gui/gui_services.h"
#include "core/runtime.h"

struct AShotContext {
  std::string base_folder;   // a copy of data/ (catalogues, examples), ending with '/'
  std::string example_obs;   // the example observation inside it
  AGuiServices services;     // messages recorded, dialogs never shown modally
  MessageRecorder messages;
};

struct AShot {
  std::string file;  // PNG name without folder
  // Builds the widget to photograph. `after_show` (optional) runs once it is shown and laid out,
  // before the picture is taken, and `before_close` after.
  std::function<std::unique_ptr<QWidget>(AShotContext&)> make;
  std::function<void(QWidget&)> after_show;
  std::function<void(QWidget&)> before_close;
};

using AShotList = std::vector<AShot>;

// The main window on each page and the dialogs of the observation page.
void AddShellShots(AShotList& shots);
// The "Errors" and "Sensitivity modeling" pages on task 1's file of the example.
void AddErrorsShots(AShotList& shots);
// The visibility viewer on the example after tasks 1 and 2.
void AddViewerShots(AShotList& shots);
// The "Source modeling" page, its model view and its dialogs, on the example.
void AddModelShots(AShotList& shots);
