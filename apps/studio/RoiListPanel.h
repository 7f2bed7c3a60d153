#pragma once

// The ROIs of the recipe, one row each: name, tool and what was measured (or why not).
// Selecting a row selects the ROI in the view; Delete removes it.

#include "StudioDocument.h"

#include <QTableWidget>

namespace studio {

class RoiListPanel : public QTableWidget {
    Q_OBJECT
public:
    explicit RoiListPanel(StudioDocument& document, QWidget* parent = nullptr);

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void refill();
    void showResults();

    StudioDocument& document_;
};

} // namespace studio
