#pragma once
// The save dialog of the source model document, asked through the desktop services (a real file
// picker in the program, a scripted answer in the tests).

#include "app/gui/gui_services.h"
#include "model/model_document.h"

class AServicesModelDialog final : public AModelFileDialog {
 public:
  AServicesModelDialog(const AGuiServices& s, QWidget* parent) : s_(s), parent_(parent) {}
  bool ChooseSavePath(const std::string& initial, std::string& path) override {
    const QString chosen = s_.save_file(parent_, "Save As", Qs(initial), QtFileFilter(kModelFileFilter));
    if (chosen.isEmpty()) return false;
    path = Ss(chosen);
    return true;
  }

 private:
  const AGuiServices& s_;
  QWidget* parent_;
};
