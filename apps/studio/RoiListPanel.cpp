#include "RoiListPanel.h"

#include "OverlayPainter.h"
#include "ResultText.h"

#include <QHeaderView>
#include <QKeyEvent>
#include <QSignalBlocker>

namespace studio {

RoiListPanel::RoiListPanel(StudioDocument& document, QWidget* parent) : QTableWidget(parent), document_(document)
{
    setObjectName("roiList");
    setColumnCount(3);
    setHorizontalHeaderLabels({tr("ROI"), tr("Tool"), tr("Result")});
    horizontalHeader()->setStretchLastSection(true);
    verticalHeader()->hide();
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setWordWrap(false);
    connect(&document_, &StudioDocument::roisChanged, this, &RoiListPanel::refill);
    connect(&document_, &StudioDocument::roiEdited, this, &RoiListPanel::refill);
    connect(&document_, &StudioDocument::measured, this, &RoiListPanel::showResults);
    connect(&document_, &StudioDocument::selectionChanged, this, [this](int id) {
        const QSignalBlocker block(this);
        clearSelection();
        for (int row = 0; id != 0 && row < rowCount(); ++row)
            if (item(row, 0)->data(Qt::UserRole).toInt() == id)
                selectRow(row);
    });
    connect(this, &QTableWidget::itemSelectionChanged, this, [this] {
        const QList<QTableWidgetItem*> chosen = selectedItems();
        document_.select(chosen.isEmpty() ? 0 : chosen.front()->data(Qt::UserRole).toInt());
    });
}

void RoiListPanel::setHeld(std::vector<HeldMeasurement> held)
{
    held_ = std::move(held);
    refill();
}

void RoiListPanel::refill()
{
    const QSignalBlocker block(this);
    const std::vector<RoiEntry>& rois = document_.rois();
    const int drawn = static_cast<int>(rois.size());
    setRowCount(drawn + static_cast<int>(held_.size()));
    for (int row = 0; row < rowCount(); ++row) {
        const HeldMeasurement* held = row < drawn ? nullptr : &held_[row - drawn];
        const RoiEntry* entry = held ? nullptr : &rois[row];
        const QString cells[] = {QString::fromStdString(held ? held->name : entry->name),
                                 QString::fromStdString(held ? held->tool : entry->tool),
                                 held ? tr("not drawable: %1").arg(QString::fromStdString(held->reason)) : QString()};
        for (int column = 0; column < 3; ++column) {
            if (!item(row, column))
                setItem(row, column, new QTableWidgetItem);
            QTableWidgetItem* cell = item(row, column);
            if (column < 2 || held)
                cell->setText(cells[column]);
            cell->setData(Qt::UserRole, held ? 0 : entry->id);
            cell->setFlags(held ? Qt::ItemIsEnabled : Qt::ItemIsEnabled | Qt::ItemIsSelectable);
            cell->setToolTip(held ? cells[2] : QString());
            cell->setForeground(held ? colours::failure : palette().color(QPalette::Text));
        }
        if (entry && entry->id == document_.selectedId())
            selectRow(row);
    }
    showResults();
}

void RoiListPanel::showResults()
{
    const int drawn = static_cast<int>(document_.rois().size());
    for (int row = 0; row < drawn && row < rowCount(); ++row) {
        const int id = item(row, 0)->data(Qt::UserRole).toInt();
        const Measurement* m = document_.measurement(id);
        QTableWidgetItem* cell = item(row, 2);
        cell->setText(m ? QString::fromStdString(resultSummary(*m)) : QString());
        cell->setToolTip(m && !m->error.empty() ? QString::fromStdString(m->error) : cell->text());
        cell->setForeground(m && (!m->ran || !m->success) ? colours::failure : palette().color(QPalette::Text));
    }
    resizeColumnToContents(0);
    resizeColumnToContents(1);
}

void RoiListPanel::keyPressEvent(QKeyEvent* event)
{
    if ((event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace) && document_.selectedId() != 0) {
        document_.removeRoi(document_.selectedId());
        return;
    }
    QTableWidget::keyPressEvent(event);
}

} // namespace studio
