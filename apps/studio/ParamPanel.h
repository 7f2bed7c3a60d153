#pragma once

// The selected ROI's name, tool and settings. The form is generated from the tool's
// parameter definitions, the ones the command-line tool lists and validates: an integer
// or a number becomes a spin box bounded by its range, a flag a check box, a choice a
// list; each has the parameter's help and allowed values as its tooltip. Every change
// goes to the document at once, which re-measures.

#include "StudioDocument.h"

#include <QWidget>

class QComboBox;
class QFormLayout;
class QLabel;
class QLineEdit;
class QPlainTextEdit;

namespace studio {

class ParamPanel : public QWidget {
    Q_OBJECT
public:
    explicit ParamPanel(StudioDocument& document, QWidget* parent = nullptr);

private:
    void rebuild();    // another ROI or another tool: a new form
    void showValues(); // the same form, values changed elsewhere
    void showMeasurement();
    QWidget* editorFor(const frontend::ParamDefinition& definition);

    StudioDocument& document_;
    int shownId_ = 0;
    std::string shownTool_;
    QLineEdit* name_;
    QComboBox* tool_;
    QLabel* summary_;
    QWidget* form_ = nullptr;
    QFormLayout* formLayout_;
    QPlainTextEdit* outputs_;
};

} // namespace studio
