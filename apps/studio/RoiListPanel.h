#pragma once

// The ROIs of the recipe, one row each: name, tool and what was measured (or why not),
// then the recipe's measurements the studio keeps without drawing, with the reason.
// Selecting a row selects the ROI in the view; Delete removes it.

#include "StudioDocument.h"
#include "StudioRecipe.h"

#include <QTableWidget>

namespace studio {

class RoiListPanel : public QTableWidget {
    Q_OBJECT
public:
    explicit RoiListPanel(StudioDocument& document, QWidget* parent = nullptr);
    /// The measurements listed below the ROIs, not selectable.
    void setHeld(std::vector<HeldMeasurement> held);

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void refill();
    void showResults();

    StudioDocument& document_;
    std::vector<HeldMeasurement> held_;
};

} // namespace studio
