#include "app/gui/comfort.h"

#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QPrintDialog>
#include <QPrinter>
#include <QRegularExpression>
#include <QToolButton>
#include <algorithm>
#include <map>
#include <memory>
#include <qcustomplot.h>
#include <set>

#include "app/gui/plot_util.h"
#include "app/gui/vis_viewer.h"
#include "app/recent_files.h"

namespace {

// The kind of file a picker's filter asks for: the first extension it names, in capitals
// ("QVL UVX-file (*.uvx *.UVX);;All files (*)" -> "UVX"); "ANY" when it names none.
QString FileKind(const QString& filter) {
  static const QRegularExpression ext(R"(\*\.([A-Za-z0-9_$]+))");
  const QRegularExpressionMatch m = ext.match(filter);
  return m.hasMatch() ? m.captured(1).toUpper() : QString("ANY");
}

// The picker's initial name placed in the remembered folder, unless it names a folder itself.
QString InFolder(const QString& initial, const QString& dir) {
  if (dir.isEmpty() || !QFileInfo(dir).isDir()) return initial;
  if (initial.isEmpty()) return dir;
  if (QFileInfo(initial).isAbsolute() || initial.contains('/')) return initial;
  return QDir(dir).filePath(initial);
}

using Picker = std::function<QString(QWidget*, const QString&, const QString&, const QString&)>;

Picker RememberingPicker(Picker inner, const std::string& settings_path) {
  if (!inner) return inner;
  return [inner, settings_path](QWidget* parent, const QString& title, const QString& initial, const QString& filter) {
    const std::string kind = Ss(FileKind(filter));
    const QString chosen = inner(parent, title, InFolder(initial, Qs(LoadLastDir(settings_path, kind))), filter);
    if (!chosen.isEmpty()) StoreLastDir(settings_path, kind, Ss(QFileInfo(chosen).absolutePath()));
    return chosen;
  };
}

// Accepts local files of the given extensions dragged onto its widget.
class ADropFilter final : public QObject {
 public:
  ADropFilter(QWidget* target, QStringList extensions, std::function<void(const QString&)> accept)
      : QObject(target), extensions_(std::move(extensions)), accept_(std::move(accept)) {}

  bool eventFilter(QObject*, QEvent* event) override {
    switch (event->type()) {
      case QEvent::DragEnter:
      case QEvent::DragMove: {
        auto* e = static_cast<QDropEvent*>(event);
        if (!e->mimeData()->hasUrls()) return false;  // text drags keep their usual meaning
        if (!Path(e->mimeData()).isEmpty())
          e->acceptProposedAction();
        else
          e->ignore();
        return true;
      }
      case QEvent::Drop: {
        auto* e = static_cast<QDropEvent*>(event);
        if (!e->mimeData()->hasUrls()) return false;
        const QString path = Path(e->mimeData());
        if (path.isEmpty()) {
          e->ignore();
          return true;
        }
        e->acceptProposedAction();
        accept_(path);
        return true;
      }
      default:
        return false;
    }
  }

 private:
  QString Path(const QMimeData* mime) const {
    const QList<QUrl> urls = mime->urls();
    if (urls.size() != 1 || !urls.front().isLocalFile()) return {};
    const QString path = urls.front().toLocalFile();
    for (const QString& ext : extensions_)
      if (path.endsWith(ext, Qt::CaseInsensitive)) return path;
    return {};
  }
  QStringList extensions_;
  std::function<void(const QString&)> accept_;
};

// Ctrl+C on a table view copies the selection (the view's own copy takes the current cell only).
class ACopyKeyFilter final : public QObject {
 public:
  explicit ACopyKeyFilter(QAbstractItemView* view) : QObject(view), view_(view) {}
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() != QEvent::ShortcutOverride && event->type() != QEvent::KeyPress) return false;
    auto* key = static_cast<QKeyEvent*>(event);
    if (!key->matches(QKeySequence::Copy)) return false;
    if (event->type() == QEvent::ShortcutOverride) {
      key->accept();  // delivered as a key press to this filter, not to a window shortcut
      return true;
    }
    QApplication::clipboard()->setText(SelectionAsTsv(view_));
    return true;
  }

 private:
  QAbstractItemView* view_;
};

QString CellText(const QVariant& v) {
  QString text = v.toString();
  text.replace('\t', ' ').replace('\n', ' ').replace('\r', ' ');
  return text;
}

}  // namespace

void InstallComfort(AGuiServices& services, const std::string& settings_path) {
  services.recent_files = [settings_path](const QString& page) {
    QStringList list;
    for (const std::string& f : LoadRecentFiles(settings_path, Ss(page))) list << Qs(f);
    return list;
  };
  services.add_recent_file = [settings_path](const QString& page, const QString& path) {
    AddRecentFile(settings_path, Ss(page), Ss(QFileInfo(path).absoluteFilePath()));
  };
  services.open_file = RememberingPicker(services.open_file, settings_path);
  services.save_file = RememberingPicker(services.save_file, settings_path);
}

QStringList RecentFiles(const AGuiServices& services, const QString& page) {
  return services.recent_files ? services.recent_files(page) : QStringList();
}

void AddRecentFile(const AGuiServices& services, const QString& page, const QString& path) {
  if (services.add_recent_file && !path.isEmpty()) services.add_recent_file(page, path);
}

QToolButton* MakeRecentButton(const AGuiServices& services, const QString& page,
                              std::function<void(const QString&)> open, QWidget* parent) {
  auto* button = new QToolButton(parent);
  button->setText("Recent");
  button->setObjectName("recentButton");
  button->setToolTip("Files opened recently on this page");
  button->setPopupMode(QToolButton::InstantPopup);
  auto* menu = new QMenu(button);
  button->setMenu(menu);
  QObject::connect(menu, &QMenu::aboutToShow, menu, [menu, services, page, open] {
    menu->clear();
    const QStringList files = RecentFiles(services, page);
    if (files.isEmpty()) menu->addAction("(none)")->setEnabled(false);
    for (const QString& f : files)
      QObject::connect(menu->addAction(f), &QAction::triggered, menu, [open, f] { open(f); });
  });
  return button;
}

void InstallDropTarget(QWidget* target, const QStringList& extensions, std::function<void(const QString&)> accept) {
  target->setAcceptDrops(true);
  target->installEventFilter(new ADropFilter(target, extensions, std::move(accept)));
}

void InstallFileDrop(QLineEdit* field, const QStringList& extensions, QWidget* area) {
  InstallDropTarget(area ? area : field, extensions, [field](const QString& path) {
    field->setText(QDir::toNativeSeparators(path));
    emit field->editingFinished();
  });
  if (area && area != field) InstallDropTarget(field, extensions, [field](const QString& path) {
      field->setText(QDir::toNativeSeparators(path));
      emit field->editingFinished();
    });
}

QString SelectionAsTsv(const QAbstractItemView* view, bool headers) {
  const QItemSelectionModel* sel = view->selectionModel();
  const QAbstractItemModel* model = view->model();
  if (!sel || !model) return {};
  const QModelIndexList cells = sel->selectedIndexes();
  if (cells.isEmpty()) return {};
  std::set<int> rows, cols;
  std::set<std::pair<int, int>> chosen;
  for (const QModelIndex& i : cells) {
    rows.insert(i.row());
    cols.insert(i.column());
    chosen.insert({i.row(), i.column()});
  }
  const QModelIndex parent = cells.front().parent();
  QString out;
  auto line = [&out](const QStringList& cells_of_row) { out += cells_of_row.join('\t') + '\n'; };
  if (headers) {
    QStringList h;
    for (int c : cols) h << CellText(model->headerData(c, Qt::Horizontal, Qt::DisplayRole));
    line(h);
  }
  for (int r : rows) {
    QStringList row;
    for (int c : cols)
      row << (chosen.count({r, c}) ? CellText(model->index(r, c, parent).data(Qt::DisplayRole)) : QString());
    line(row);
  }
  return out;
}

void InstallTableCopy(QAbstractItemView* view) {
  auto* copy = new QAction("Copy", view);
  copy->setShortcut(QKeySequence::Copy);
  copy->setShortcutContext(Qt::WidgetShortcut);
  auto* with_headers = new QAction("Copy with headers", view);
  QObject::connect(copy, &QAction::triggered, view,
                   [view] { QApplication::clipboard()->setText(SelectionAsTsv(view)); });
  QObject::connect(with_headers, &QAction::triggered, view,
                   [view] { QApplication::clipboard()->setText(SelectionAsTsv(view, true)); });
  view->addAction(copy);
  view->addAction(with_headers);
  if (view->contextMenuPolicy() == Qt::DefaultContextMenu) view->setContextMenuPolicy(Qt::ActionsContextMenu);
  view->installEventFilter(new ACopyKeyFilter(view));
}

void ViewUvxFile(const AGuiServices& services, QWidget* parent, const QString& uvx_path) {
  if (services.open_viewer)
    services.open_viewer(parent, uvx_path);
  else
    OpenVisViewer(parent, uvx_path, services);
}

bool SavePlotAs(QCustomPlot* plot, const AGuiServices& services, const QString& format) {
  const bool pdf = format.compare("pdf", Qt::CaseInsensitive) == 0;
  const QString title = pdf ? "Save plot as PDF" : "Save plot as PNG";
  const QString filter = pdf ? "PDF document (*.pdf)" : "PNG image (*.png)";
  const QString initial = pdf ? "plot.pdf" : "plot.png";
  QString path = services.save_file ? services.save_file(plot, title, initial, filter)
                                    : QFileDialog::getSaveFileName(plot, title, initial, filter);
  if (path.isEmpty()) return false;
  if (QFileInfo(path).suffix().isEmpty()) path += pdf ? ".pdf" : ".png";
  const bool ok = SavePlotFile(plot, path);
  if (!ok && services.messages) services.messages->Show(Ss("Cannot write " + path));
  return ok;
}

bool PrintPlot(QCustomPlot* plot, const AGuiServices& services) {
  QPrinter printer(QPrinter::HighResolution);
  printer.setPageOrientation(plot->width() > plot->height() ? QPageLayout::Landscape : QPageLayout::Portrait);
  bool go = false;
  if (services.setup_printer) {
    go = services.setup_printer(plot, printer);
  } else {
    QPrintDialog dialog(&printer, plot);
    go = dialog.exec() == QDialog::Accepted;
  }
  if (!go) return false;
  QCPPainter painter;
  if (!painter.begin(&printer)) {
    if (services.messages) services.messages->Show("Cannot print the plot");
    return false;
  }
  // The plot as it looks on screen, scaled as a whole to fit the page.
  const QRect page = printer.pageLayout().paintRectPixels(printer.resolution());
  const int w = std::max(plot->width(), 1), h = std::max(plot->height(), 1);
  const double scale = std::min(double(page.width()) / w, double(page.height()) / h);
  painter.setMode(QCPPainter::pmVectorized);
  painter.setMode(QCPPainter::pmNoCaching);
  painter.scale(scale, scale);
  plot->toPainter(&painter, w, h);
  painter.end();
  return true;
}

void InstallPlotExport(QCustomPlot* plot, const AGuiServices& services) {
  const struct {
    const char* text;
    std::function<void()> run;
  } items[] = {{"Save as PNG...", [plot, services] { SavePlotAs(plot, services, "png"); }},
               {"Save as PDF...", [plot, services] { SavePlotAs(plot, services, "pdf"); }},
               {"Print...", [plot, services] { PrintPlot(plot, services); }}};
  for (const auto& item : items) {
    auto* action = new QAction(item.text, plot);
    QObject::connect(action, &QAction::triggered, plot, item.run);
    plot->addAction(action);
  }
  plot->setContextMenuPolicy(Qt::ActionsContextMenu);
}
