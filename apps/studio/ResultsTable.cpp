#include "ResultsTable.h"

#include <QApplication>
#include <QClipboard>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QSaveFile>
#include <QTableWidget>
#include <QVBoxLayout>

namespace studio {

ResultsTable::ResultsTable(QWidget* parent) : QWidget(parent)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(2, 2, 2, 2);
    auto* bar = new QHBoxLayout;
    caption_ = new QLabel;
    bar->addWidget(caption_, 1);
    auto* copy = new QPushButton(tr("Copy"));
    copy->setObjectName("copyResults");
    copy->setToolTip(tr("Copy the table, tab-separated, to paste into a spreadsheet"));
    auto* save = new QPushButton(tr("Save CSV…"));
    save->setObjectName("saveResults");
    bar->addWidget(copy);
    bar->addWidget(save);
    layout->addLayout(bar);
    view_ = new QTableWidget;
    view_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    view_->verticalHeader()->hide();
    layout->addWidget(view_);
    connect(copy, &QPushButton::clicked, this, &ResultsTable::copyToClipboard);
    connect(save, &QPushButton::clicked, this, [this] {
        const QString path = QFileDialog::getSaveFileName(this, tr("Save results"), "results.csv", tr("CSV (*.csv)"),
                                                          nullptr, QFileDialog::DontUseNativeDialog);
        if (!path.isEmpty())
            saveCsv(path);
    });
}

void ResultsTable::setCaption(const QString& text)
{
    caption_->setText(text);
}

void ResultsTable::setRows(const std::vector<ResultRow>& rows)
{
    table_ = tabulate(rows);
    view_->setColumnCount(static_cast<int>(table_.header.size()));
    view_->setRowCount(static_cast<int>(table_.cells.size()));
    QStringList header;
    for (const std::string& name : table_.header)
        header << QString::fromStdString(name);
    view_->setHorizontalHeaderLabels(header);
    for (int r = 0; r < view_->rowCount(); ++r)
        for (int c = 0; c < view_->columnCount(); ++c) {
            auto* item = new QTableWidgetItem(QString::fromStdString(table_.cells[r][c]));
            item->setToolTip(item->text());
            view_->setItem(r, c, item);
        }
    // Wide enough for the values, not for long paths (the tooltip has them whole).
    view_->resizeColumnsToContents();
    for (int c = 0; c < view_->columnCount(); ++c)
        view_->setColumnWidth(c, std::min(view_->columnWidth(c), 220));
}

void ResultsTable::copyToClipboard() const
{
    QApplication::clipboard()->setText(QString::fromStdString(toTabSeparated(table_)));
}

bool ResultsTable::saveCsv(const QString& path, bool quiet)
{
    QSaveFile file(path);
    const QByteArray text = QByteArray::fromStdString(toCsv(table_));
    if (file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && file.commit())
        return true;
    if (!quiet)
        QMessageBox::warning(this, tr("Save results"), tr("Cannot write %1: %2").arg(path, file.errorString()));
    return false;
}

} // namespace studio
