#pragma once

// A table of measurements, one row per image and ROI with every output as a column, that
// copies to the clipboard (tab-separated, for a spreadsheet) and saves as CSV.

#include "ResultText.h"

#include <QWidget>

class QLabel;
class QTableWidget;

namespace studio {

class ResultsTable : public QWidget {
    Q_OBJECT
public:
    explicit ResultsTable(QWidget* parent = nullptr);

    void setRows(const std::vector<ResultRow>& rows);
    const ResultTable& table() const { return table_; }
    void setCaption(const QString& text);

    void copyToClipboard() const;
    /// Writes the CSV; false (and a message box unless quiet) when it cannot.
    bool saveCsv(const QString& path, bool quiet = false);

private:
    ResultTable table_;
    QLabel* caption_;
    QTableWidget* view_;
};

} // namespace studio
