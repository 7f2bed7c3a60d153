#include "ParamPanel.h"

#include "ResultText.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QVBoxLayout>

#include <climits>
#include <cmath>

namespace studio {

namespace {

// Spin boxes need finite bounds; an open end stops here.
constexpr double kLargestShown = 1e9;

double bounded(double limit)
{
    return std::clamp(limit, -kLargestShown, kLargestShown);
}

QString tooltipOf(const frontend::ParamDefinition& d)
{
    return QString::fromStdString(d.help + "\nallowed: " + d.allowedText() + "\ndefault: " + d.defaultValue.dump());
}

} // namespace

ParamPanel::ParamPanel(StudioDocument& document, QWidget* parent) : QWidget(parent), document_(document)
{
    auto* layout = new QVBoxLayout(this);
    auto* header = new QFormLayout;
    name_ = new QLineEdit;
    name_->setObjectName("roiName");
    tool_ = new QComboBox;
    tool_->setObjectName("tool");
    header->addRow(tr("ROI"), name_);
    header->addRow(tr("Tool"), tool_);
    layout->addLayout(header);
    summary_ = new QLabel;
    summary_->setWordWrap(true);
    layout->addWidget(summary_);
    // The form scrolls: a tool with many settings must not push the window taller.
    auto* form = new QWidget;
    auto* formColumn = new QVBoxLayout(form);
    formColumn->setContentsMargins(0, 0, 0, 0);
    formLayout_ = new QFormLayout;
    formColumn->addLayout(formLayout_);
    auto* reset = new QPushButton(tr("Reset to defaults"));
    reset->setObjectName("resetDefaults");
    formColumn->addWidget(reset);
    formColumn->addStretch(1);
    auto* scroll = new QScrollArea;
    scroll->setWidget(form);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    layout->addWidget(scroll, 3);
    layout->addWidget(new QLabel(tr("Outputs")));
    outputs_ = new QPlainTextEdit;
    outputs_->setObjectName("outputs");
    outputs_->setReadOnly(true);
    outputs_->setLineWrapMode(QPlainTextEdit::NoWrap);
    layout->addWidget(outputs_, 1);

    connect(name_, &QLineEdit::editingFinished, this,
            [this] { document_.setName(shownId_, name_->text().toStdString()); });
    connect(tool_, qOverload<int>(&QComboBox::activated), this,
            [this] { document_.setTool(shownId_, tool_->currentText().toStdString()); });
    connect(reset, &QPushButton::clicked, this, [this] {
        if (const RoiEntry* entry = document_.roi(shownId_))
            for (const frontend::ParamDefinition& d : frontend::findTool(entry->tool).params)
                document_.setSetting(shownId_, d.name, d.defaultValue);
    });
    connect(&document_, &StudioDocument::selectionChanged, this, &ParamPanel::rebuild);
    connect(&document_, &StudioDocument::roisChanged, this, &ParamPanel::rebuild);
    connect(&document_, &StudioDocument::roiEdited, this, [this](int id) {
        if (id == shownId_)
            rebuild();
    });
    connect(&document_, &StudioDocument::measured, this, &ParamPanel::showMeasurement);
    rebuild();
}

QWidget* ParamPanel::editorFor(const frontend::ParamDefinition& d)
{
    const std::string name = d.name;
    QWidget* editor = nullptr;
    switch (d.type) {
    case frontend::ParamType::Integer: {
        auto* spin = new QSpinBox;
        spin->setRange(static_cast<int>(std::max(d.minimum, double(INT_MIN))),
                       static_cast<int>(std::min(d.maximum, double(INT_MAX))));
        connect(spin, qOverload<int>(&QSpinBox::valueChanged), this,
                [this, name](int value) { document_.setSetting(shownId_, name, value); });
        editor = spin;
        break;
    }
    case frontend::ParamType::Number: {
        auto* spin = new QDoubleSpinBox;
        spin->setDecimals(4);
        spin->setRange(bounded(d.minimum), bounded(d.maximum));
        spin->setSingleStep(d.maximum - d.minimum <= 1 ? 0.01 : 0.1);
        connect(spin, qOverload<double>(&QDoubleSpinBox::valueChanged), this,
                [this, name](double value) { document_.setSetting(shownId_, name, value); });
        editor = spin;
        break;
    }
    case frontend::ParamType::Boolean: {
        auto* box = new QCheckBox;
        connect(box, &QCheckBox::toggled, this,
                [this, name](bool value) { document_.setSetting(shownId_, name, value); });
        editor = box;
        break;
    }
    case frontend::ParamType::Choice: {
        auto* list = new QComboBox;
        for (const std::string& choice : d.choices)
            list->addItem(QString::fromStdString(choice));
        connect(list, qOverload<int>(&QComboBox::currentIndexChanged), this,
                [this, name, list] { document_.setSetting(shownId_, name, list->currentText().toStdString()); });
        editor = list;
        break;
    }
    }
    editor->setObjectName(QString::fromStdString(name));
    editor->setToolTip(tooltipOf(d));
    return editor;
}

void ParamPanel::rebuild()
{
    const RoiEntry* entry = document_.roi(document_.selectedId());
    const int id = entry ? entry->id : 0;
    const std::string tool = entry ? entry->tool : "";
    if (id == shownId_ && tool == shownTool_) {
        showValues();
        return;
    }
    shownId_ = id;
    shownTool_ = tool;
    while (formLayout_->rowCount() > 0)
        formLayout_->removeRow(0);
    {
        const QSignalBlocker blockTool(tool_);
        tool_->clear();
        if (entry) {
            for (const std::string& name : StudioDocument::toolsFor(entry->shape.kind)) {
                tool_->addItem(QString::fromStdString(name));
                tool_->setItemData(tool_->count() - 1, QString::fromStdString(frontend::findTool(name).summary),
                                   Qt::ToolTipRole);
            }
        }
    }
    setEnabled(entry != nullptr);
    if (entry && !tool.empty())
        for (const frontend::ParamDefinition& d : frontend::findTool(tool).params) {
            auto* label = new QLabel(QString::fromStdString(d.name));
            label->setToolTip(tooltipOf(d));
            formLayout_->addRow(label, editorFor(d));
        }
    showValues();
}

void ParamPanel::showValues()
{
    const RoiEntry* entry = document_.roi(shownId_);
    {
        const QSignalBlocker blockName(name_);
        const QSignalBlocker blockTool(tool_);
        name_->setText(entry ? QString::fromStdString(entry->name) : QString());
        tool_->setCurrentText(entry ? QString::fromStdString(entry->tool) : QString());
        tool_->setToolTip(entry && !entry->tool.empty()
                              ? QString::fromStdString(frontend::findTool(entry->tool).summary)
                              : tr("No tool takes this shape"));
    }
    if (entry) {
        for (auto it = entry->settings.begin(); it != entry->settings.end(); ++it) {
            QWidget* editor = findChild<QWidget*>(QString::fromStdString(it.key()));
            if (!editor)
                continue;
            // Only values that differ are set: setting an equal one would reformat the text
            // a user is typing ("0." becoming "0.0000").
            const QSignalBlocker block(editor);
            const json& value = it.value();
            if (auto* spin = qobject_cast<QSpinBox*>(editor)) {
                if (spin->value() != value.get<int>())
                    spin->setValue(value.get<int>());
            } else if (auto* number = qobject_cast<QDoubleSpinBox*>(editor)) {
                if (number->value() != value.get<double>())
                    number->setValue(value.get<double>());
            } else if (auto* box = qobject_cast<QCheckBox*>(editor)) {
                box->setChecked(value.get<bool>());
            } else if (auto* list = qobject_cast<QComboBox*>(editor)) {
                list->setCurrentText(QString::fromStdString(value.get<std::string>()));
            }
        }
    }
    showMeasurement();
}

void ParamPanel::showMeasurement()
{
    const Measurement* m = document_.measurement(shownId_);
    if (!m) {
        summary_->clear();
        outputs_->clear();
        return;
    }
    summary_->setText(QString::fromStdString(resultSummary(*m)));
    // What functions-cli run prints for the same ROI.
    json record = {{"success", m->success}, {"outputs", m->outputs}};
    if (!m->quality.is_null())
        record["quality"] = m->quality;
    if (!m->diagnostics.empty())
        record["diagnostics"] = m->diagnostics;
    outputs_->setPlainText(QString::fromStdString(m->ran ? record.dump(2) : m->error));
}

} // namespace studio
