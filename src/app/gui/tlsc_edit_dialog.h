#pragma once
// The telescope edit dialog of the catalogue: the kind selector (ground, orbital), name, ID name
// and the eight parameters under the labels of the chosen kind. OK runs the catalogue's checks in
// their order; a failure shows its message and puts the focus on the offending field.

#include <QDialog>

#include "core/runtime.h"
#include "observation/tlsc_item.h"

class QComboBox;
class QLabel;
class QLineEdit;

// The parameter labels of a kind (index 0..7).
const char* TlscParamLabel(bool ground, int index);

class AMTlscEditDlg final : public QDialog {
  Q_OBJECT
 public:
  // `title`: "Add telescope" or "Edit telescope".
  AMTlscEditDlg(const QString& title, const AMTlscInfoItem& item, MessageSink* messages, QWidget* parent = nullptr);
  // The entry as accepted (valid after OK).
  const AMTlscInfoItem& Item() const { return item_; }

  QComboBox* KindBox() const { return kind_; }
  QLineEdit* NameEdit() const { return name_; }
  QLineEdit* IdEdit() const { return id_; }
  QLineEdit* ParamEdit(int index) const { return params_[index]; }
  QLabel* ParamLabel(int index) const { return labels_[index]; }

  void accept() override;

 private:
  void ShowKind(int kind_row);
  void Refuse(const char* message, QLineEdit* field);

  AMTlscInfoItem item_;
  MessageSink* messages_;
  QComboBox* kind_;
  QLineEdit* name_;
  QLineEdit* id_;
  QLineEdit* params_[tlsc::kParamCount];
  QLabel* labels_[tlsc::kParamCount];
};
