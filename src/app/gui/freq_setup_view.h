#pragma once
// The frequency set-up pages of the "VLBI configuration" page: the reference frequency, the
// numbers of IFs and channels, and two tables of "Freq. ID" rows by IF columns (the IF offsets
// and the channel widths, MHz), with the menus "IF" ("Add", "Delete", "Offset frequency...",
// "Offset step..."), "Channel" ("Add", "Delete", "Width...", "Auto arrange") and "Freq. ID"
// ("Add", "Delete"). Every command is one operation of AMFreqSetup.

#include <QAbstractTableModel>
#include <QWidget>
#include <functional>

#include "app/gui/gui_services.h"
#include "observation/freq_setup.h"

class QLabel;
class QMenu;
class QTabWidget;
class QTableView;
class QToolButton;

// One of the two pages: "Freq. ID" in column 0, then one column per IF ("IF 1", ...), holding
// the IF offsets or the channel widths in MHz. Cells are editable; a text that is not a valid
// frequency is refused with "Invalid frequency.".
class AMFreqTable final : public QAbstractTableModel {
  Q_OBJECT
 public:
  enum Kind { kOffsets, kWidths };
  AMFreqTable(AMFreqSetup& freq, Kind kind, MessageSink* messages, std::function<void()> edited,
              QObject* parent = nullptr);
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role) override;
  void Reset();

 private:
  AMFreqSetup& freq_;
  Kind kind_;
  MessageSink* messages_;
  std::function<void()> edited_;
};

class AMFreqSetupView final : public QWidget {
  Q_OBJECT
 public:
  AMFreqSetupView(AMFreqSetup& freq, const AGuiServices& services, std::function<void()> edited,
                  QWidget* parent = nullptr);
  // After the set-up was replaced.
  void Refresh();
  // The current frequency ID row and IF (0-based; the IF is -1 when no IF column is current).
  int CurrentRow() const;
  int CurrentIf() const;
  void SetCurrent(int row, int if_index);
  QTabWidget* Pages() const { return pages_; }
  QMenu* IfMenu() const { return if_menu_; }
  QMenu* ChannelMenu() const { return channel_menu_; }
  QMenu* FreqIdMenu() const { return id_menu_; }

 public slots:
  void AddIfs();
  void DeleteIf();
  void SetOffset();
  void SetOffsetStep();
  void AddChannels();
  void DeleteChannels();
  void SetWidth();
  void AutoArrange();
  void SetReference();
  void AddFreqId();
  void DeleteFreqId();

 private:
  QTableView* CurrentView() const;
  // Runs a value dialog; true with the accepted text.
  bool AskValue(const QString& title, const QString& prompt, const QString& initial,
                std::string (*check)(const std::string&), std::string& text);
  void Changed();

  AMFreqSetup& freq_;
  AGuiServices services_;
  std::function<void()> edited_;
  AMFreqTable* offsets_ = nullptr;
  AMFreqTable* widths_ = nullptr;
  QTableView* offsets_view_ = nullptr;
  QTableView* widths_view_ = nullptr;
  QTabWidget* pages_ = nullptr;
  QLabel* summary_ = nullptr;
  QMenu* if_menu_ = nullptr;
  QMenu* channel_menu_ = nullptr;
  QMenu* id_menu_ = nullptr;
};

// A frequency in MHz as the set-up shows it: the shortest text that reads back to the value.
QString MHzText(double hz);
