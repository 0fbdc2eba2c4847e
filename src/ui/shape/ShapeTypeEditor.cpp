#include "ui/shape/ShapeTypeEditor.h"

#include "app/graph/ProjectSession.h"
#include "kit/support/Counted.h"
#include "kit/support/Json.h"
#include "ui/design/Theme.h"
#include "ui/shape/OptionsDialog.h"
#include "ui/shape/TypeSwatch.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QToolButton>
#include <QVBoxLayout>

namespace corvantis {

namespace {

QLabel* subtleLabel(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setForegroundRole(QPalette::PlaceholderText);
    return label;
}

QLabel* sectionTitle(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setWeight(QFont::DemiBold);
    label->setFont(font);
    return label;
}

QLineEdit* nameField(const QString& text, QWidget* parent) {
    auto* field = new QLineEdit(text, parent);
    field->setObjectName(QStringLiteral("typeName"));
    field->setAccessibleName(QStringLiteral("Name"));
    QFont font = field->font();
    font.setPointSizeF(font.pointSizeF() * 1.35);
    font.setWeight(QFont::DemiBold);
    field->setFont(font);
    field->setFrame(false);
    field->setPlaceholderText(QStringLiteral("Name"));
    return field;
}

QPushButton* dangerButton(const QString& text, QWidget* parent) {
    auto* button = new QPushButton(text, parent);
    QPalette palette = button->palette();
    palette.setColor(QPalette::ButtonText, Theme::danger());
    button->setPalette(palette);
    return button;
}

QString key(const char* prefix, const QUuid& id) {
    return QString::fromLatin1(prefix) + json::uuidText(id);
}

QString key(const char* prefix, const RelEndpoint& endpoint) {
    return QString::fromLatin1(prefix) + json::uuidText(endpoint.from) + QLatin1Char(':') +
           json::uuidText(endpoint.to);
}

QString expandTitle(ExpandPriority priority) {
    switch (priority) {
    case ExpandPriority::First:
        return QStringLiteral("First");
    case ExpandPriority::Normal:
        return QStringLiteral("Normally");
    case ExpandPriority::WhenAsked:
        return QStringLiteral("Only when asked");
    }
    return QString();
}

} // namespace

ShapeTypeEditor::ShapeTypeEditor(ProjectSession& session, const PropertyOwner& owner, QWidget* parent)
    : QWidget(parent)
    , m_session(session)
    , m_owner(owner) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::space(6), Theme::space(5), Theme::space(6), Theme::space(6));
    layout->setSpacing(Theme::space(3));
    if (owner.isNode()) {
        buildNodeHeader(layout);
    } else {
        buildRelHeader(layout);
        layout->addSpacing(Theme::space(2));
        buildConnections(layout);
    }
    layout->addSpacing(Theme::space(2));
    buildProperties(layout);
    layout->addStretch();
}

void ShapeTypeEditor::buildNodeHeader(QVBoxLayout* layout) {
    // The editor is made for the selection, which the session keeps to types that exist.
    const NodeType* type = m_session.project().schema.nodeType(m_owner.id);
    Q_ASSERT(type);
    const QUuid id = type->id;

    auto* top = new QHBoxLayout;
    auto* swatch = new QLabel(this);
    swatch->setPixmap(typeSwatch(type->color, 18).pixmap(18, 18));
    top->addWidget(swatch);
    QLineEdit* name = nameField(type->name, this);
    connect(name, &QLineEdit::editingFinished, this, [this, id, name] {
        const NodeType* current = m_session.project().schema.nodeType(id);
        if (current && name->text().trimmed() != current->name)
            m_session.shape().renameNodeType(id, name->text());
    });
    top->addWidget(name, 1);
    QPushButton* remove = dangerButton(QStringLiteral("Delete Node Type"), this);
    remove->setObjectName(QStringLiteral("deleteType"));
    connect(remove, &QPushButton::clicked, this, [this, id] { m_session.shape().deleteNodeType(id); });
    top->addWidget(remove);
    layout->addLayout(top);

    auto* settings = new QHBoxLayout;
    settings->setSpacing(Theme::space(2));
    settings->addWidget(subtleLabel(QStringLiteral("Colour"), this));
    auto* color = new QComboBox(this);
    color->setObjectName(QStringLiteral("typeColor"));
    for (const QString& name : GraphSchema::palette()) {
        QString title = name;
        title[0] = title[0].toUpper();
        color->addItem(typeSwatch(name), title, name);
    }
    color->setCurrentIndex(std::max<int>(0, color->findData(type->color)));
    connect(color, &QComboBox::activated, this,
            [this, id, color] { m_session.shape().setNodeTypeColor(id, color->currentData().toString()); });
    settings->addWidget(color);
    settings->addSpacing(Theme::space(4));
    settings->addWidget(subtleLabel(QStringLiteral("Explore its nodes"), this));
    auto* expand = new QComboBox(this);
    expand->setObjectName(QStringLiteral("typeExpand"));
    expand->setToolTip(
        QStringLiteral("How soon opening a neighbour on the canvas brings nodes of this type"));
    for (ExpandPriority priority : {ExpandPriority::First, ExpandPriority::Normal, ExpandPriority::WhenAsked})
        expand->addItem(expandTitle(priority), static_cast<int>(priority));
    expand->setCurrentIndex(expand->findData(static_cast<int>(type->expandPriority())));
    connect(expand, &QComboBox::activated, this, [this, id, expand] {
        m_session.setExpandPriority(static_cast<ExpandPriority>(expand->currentData().toInt()), id);
    });
    settings->addWidget(expand);
    settings->addStretch();
    settings->addWidget(subtleLabel(
        counted(m_session.recordCount(id), QStringLiteral("node")) + QStringLiteral(" in your graph"), this));
    layout->addLayout(settings);
}

void ShapeTypeEditor::buildRelHeader(QVBoxLayout* layout) {
    const RelType* type = m_session.project().schema.relType(m_owner.id);
    Q_ASSERT(type);
    const QUuid id = type->id;
    auto* top = new QHBoxLayout;
    QLineEdit* name = nameField(type->name, this);
    connect(name, &QLineEdit::editingFinished, this, [this, id, name] {
        const RelType* current = m_session.project().schema.relType(id);
        if (current && name->text().trimmed() != current->name && !name->text().trimmed().isEmpty())
            m_session.renameRelType(id, name->text());
    });
    top->addWidget(name, 1);
    QPushButton* remove = dangerButton(QStringLiteral("Delete Relationship"), this);
    remove->setObjectName(QStringLiteral("deleteType"));
    connect(remove, &QPushButton::clicked, this, [this, id] { m_session.deleteRelType(id); });
    top->addWidget(remove);
    layout->addLayout(top);
    layout->addWidget(subtleLabel(counted(m_session.recordCount(id), QStringLiteral("relationship")) +
                                      QStringLiteral(" in your graph"),
                                  this));
}

void ShapeTypeEditor::buildConnections(QVBoxLayout* layout) {
    const GraphSchema& schema = m_session.project().schema;
    const RelType* type = schema.relType(m_owner.id);
    Q_ASSERT(type);
    const QUuid id = type->id;
    layout->addWidget(sectionTitle(QStringLiteral("Connections"), this));
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(Theme::space(3));
    grid->setVerticalSpacing(Theme::space(2));
    int row = 0;
    for (const RelEndpoint& endpoint : type->connections()) {
        const NodeType* from = schema.nodeType(endpoint.from);
        const NodeType* to = schema.nodeType(endpoint.to);
        if (!from || !to)
            continue;
        auto* ends = new QLabel(QStringLiteral("%1  →  %2").arg(from->name, to->name), this);
        grid->addWidget(ends, row, 0);
        auto* direction = new QComboBox(this);
        direction->setObjectName(key("direction:", endpoint));
        direction->addItem(QStringLiteral("One way"), static_cast<int>(ConnectionDirection::OneWay));
        direction->addItem(QStringLiteral("Both ways"), static_cast<int>(ConnectionDirection::BothWays));
        if (!endpoint.isLoop())
            direction->addItem(QStringLiteral("The other way"),
                               static_cast<int>(ConnectionDirection::OtherWay));
        direction->setCurrentIndex(
            direction->findData(static_cast<int>(m_session.shape().direction(endpoint, id))));
        connect(direction, &QComboBox::activated, this, [this, id, endpoint, direction] {
            m_session.setDirection(static_cast<ConnectionDirection>(direction->currentData().toInt()),
                                   endpoint, id);
        });
        grid->addWidget(direction, row, 1);
        auto* remove = new QToolButton(this);
        remove->setObjectName(key("removeConnection:", endpoint));
        remove->setText(QStringLiteral("Remove"));
        remove->setAutoRaise(true);
        remove->setToolTip(QStringLiteral("Remove this connection"));
        connect(remove, &QToolButton::clicked, this, [this, id, endpoint] {
            const RelType* current = m_session.project().schema.relType(id);
            if (current)
                m_session.removeConnection(endpoint, id, current->isTwoWay(endpoint));
        });
        grid->addWidget(remove, row, 2);
        if (m_session.isLocked(endpoint, id))
            grid->addWidget(subtleLabel(QStringLiteral("In use in your graph"), this), row, 3);
        ++row;
    }
    grid->setColumnStretch(4, 1);
    layout->addLayout(grid);

    auto* add = new QHBoxLayout;
    add->setSpacing(Theme::space(2));
    auto* from = new QComboBox(this);
    from->setObjectName(QStringLiteral("connectFrom"));
    auto* to = new QComboBox(this);
    to->setObjectName(QStringLiteral("connectTo"));
    for (const NodeType& node : schema.nodeTypes) {
        from->addItem(typeSwatch(node.color), node.name, json::uuidText(node.id));
        to->addItem(typeSwatch(node.color), node.name, json::uuidText(node.id));
    }
    auto* bothWays = new QCheckBox(QStringLiteral("Both ways"), this);
    bothWays->setObjectName(QStringLiteral("connectBothWays"));
    auto* connectButton = new QPushButton(QStringLiteral("Add Connection"), this);
    connectButton->setObjectName(QStringLiteral("addConnection"));
    connect(connectButton, &QPushButton::clicked, this, [this, id, from, to, bothWays] {
        const RelType* current = m_session.project().schema.relType(id);
        auto fromId = json::parseUuid(from->currentData().toString());
        auto toId = json::parseUuid(to->currentData().toString());
        if (current && fromId && toId)
            m_session.addRelationship(current->name, *fromId, *toId, bothWays->isChecked());
    });
    add->addWidget(from);
    add->addWidget(new QLabel(QStringLiteral("→"), this));
    add->addWidget(to);
    add->addWidget(bothWays);
    add->addWidget(connectButton);
    add->addStretch();
    layout->addLayout(add);
}

void ShapeTypeEditor::buildProperties(QVBoxLayout* layout) {
    const QList<PropertyDef>* properties = nullptr;
    if (m_owner.isNode()) {
        if (const NodeType* type = m_session.project().schema.nodeType(m_owner.id))
            properties = &type->properties;
    } else if (const RelType* type = m_session.project().schema.relType(m_owner.id)) {
        properties = &type->properties;
    }
    if (!properties)
        return;

    auto* header = new QHBoxLayout;
    header->addWidget(sectionTitle(QStringLiteral("Properties"), this));
    header->addStretch();
    auto* add = new QPushButton(QStringLiteral("Add Property"), this);
    add->setObjectName(QStringLiteral("addProperty"));
    connect(add, &QPushButton::clicked, this, [this] { m_session.shape().addProperty(m_owner); });
    header->addWidget(add);
    layout->addLayout(header);

    if (properties->isEmpty()) {
        layout->addWidget(subtleLabel(QStringLiteral("No properties yet."), this));
        return;
    }

    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(Theme::space(3));
    grid->setVerticalSpacing(Theme::space(1));
    const QStringList headings{QStringLiteral("Name"),  QStringLiteral("Kind"), QStringLiteral("Default"),
                               QStringLiteral("Title"), QStringLiteral("Mark"), QStringLiteral("Search")};
    for (int c = 0; c < headings.size(); ++c)
        grid->addWidget(subtleLabel(headings[c], this), 0, c);
    int row = 1;
    auto* titles = new QButtonGroup(this);
    titles->setExclusive(true);
    const QList<PropertyDef> copy = *properties; // the rows outlive any change the controls make
    for (int i = 0; i < copy.size(); ++i) {
        addPropertyRow(grid, row, copy[i], i, copy.size());
    }
    for (QRadioButton* radio : findChildren<QRadioButton*>())
        titles->addButton(radio);
    grid->setColumnStretch(0, 3);
    grid->setColumnStretch(2, 2);
    layout->addLayout(grid);
}

void ShapeTypeEditor::addPropertyRow(QGridLayout* grid, int& row, const PropertyDef& property, int index,
                                     int count) {
    const QUuid id = property.id;
    const PropertyOwner owner = m_owner;
    const GraphSchema& schema = m_session.project().schema;
    std::optional<QUuid> titleId;
    std::optional<QUuid> markId;
    if (owner.isNode()) {
        titleId = schema.nodeType(owner.id)->titleProperty;
        markId = schema.nodeType(owner.id)->markProperty;
    } else {
        titleId = schema.relType(owner.id)->titleProperty;
        markId = schema.relType(owner.id)->markProperty;
    }

    auto* name = new QLineEdit(property.name, this);
    name->setObjectName(key("propName:", id));
    name->setAccessibleName(QStringLiteral("Property name"));
    connect(name, &QLineEdit::editingFinished, this, [this, id, owner, name, original = property.name] {
        if (name->text().trimmed() != original)
            m_session.shape().renameProperty(id, owner, name->text());
    });
    grid->addWidget(name, row, 0);

    auto* kind = new QComboBox(this);
    kind->setObjectName(key("propKind:", id));
    const QList<PropertyKind> allowed = m_session.shape().allowedKinds(id, owner);
    for (PropertyKind candidate : allowed)
        kind->addItem(PropertyKinds::title(candidate), static_cast<int>(candidate));
    kind->setCurrentIndex(kind->findData(static_cast<int>(property.kind)));
    const bool locked = m_session.isLocked(id, owner);
    if (locked)
        kind->setToolTip(
            QStringLiteral("Your graph holds values for it, so it can only switch between text and enum."));
    kind->setEnabled(allowed.size() > 1);
    connect(kind, &QComboBox::activated, this, [this, id, owner, kind] {
        m_session.shape().changeKind(id, owner, static_cast<PropertyKind>(kind->currentData().toInt()));
    });
    grid->addWidget(kind, row, 1);

    QWidget* defaultValue = defaultEditor(property);
    grid->addWidget(defaultValue, row, 2);

    if (PropertyKinds::canBeTitle(property.kind)) {
        auto* title = new QRadioButton(this);
        title->setObjectName(key("propTitle:", id));
        title->setToolTip(QStringLiteral("Its value names each node"));
        title->setChecked(titleId == id);
        connect(title, &QRadioButton::clicked, this,
                [this, id, owner] { m_session.shape().setTitleProperty(owner, id); });
        grid->addWidget(title, row, 3, Qt::AlignCenter);
    }
    if (property.kind == PropertyKind::Boolean) {
        auto* mark = new QCheckBox(this);
        mark->setObjectName(key("propMark:", id));
        mark->setToolTip(QStringLiteral("Never a title; one per type can show on the graph"));
        mark->setChecked(markId == id);
        connect(mark, &QCheckBox::clicked, this, [this, id, owner](bool on) {
            m_session.shape().setMarkProperty(owner, on ? std::optional(id) : std::nullopt);
        });
        grid->addWidget(mark, row, 4, Qt::AlignCenter);
    }
    if (property.kind == PropertyKind::Text) {
        auto* search = new QCheckBox(this);
        search->setObjectName(key("propSearch:", id));
        search->setToolTip(QStringLiteral("Search by meaning reads this property"));
        search->setChecked(property.isEmbedded());
        connect(search, &QCheckBox::clicked, this,
                [this, id, owner](bool on) { m_session.setEmbedded(id, owner, on); });
        grid->addWidget(search, row, 5, Qt::AlignCenter);
    }

    auto* actions = new QHBoxLayout;
    actions->setSpacing(0);
    auto tool = [this](const QString& text, const QString& name, const QString& tip) {
        auto* button = new QToolButton(this);
        button->setText(text);
        button->setObjectName(name);
        button->setToolTip(tip);
        button->setAutoRaise(true);
        return button;
    };
    QToolButton* up = tool(QStringLiteral("↑"), key("propUp:", id), QStringLiteral("Move up"));
    up->setEnabled(index > 0);
    connect(up, &QToolButton::clicked, this,
            [this, id, owner, index] { m_session.shape().moveProperty(id, owner, index - 1); });
    QToolButton* down = tool(QStringLiteral("↓"), key("propDown:", id), QStringLiteral("Move down"));
    down->setEnabled(index + 1 < count);
    connect(down, &QToolButton::clicked, this,
            [this, id, owner, index] { m_session.shape().moveProperty(id, owner, index + 1); });
    QToolButton* remove =
        tool(QStringLiteral("✕"), key("propDelete:", id), QStringLiteral("Delete the property"));
    connect(remove, &QToolButton::clicked, this, [this, id, owner] { m_session.removeProperty(id, owner); });
    actions->addWidget(up);
    actions->addWidget(down);
    actions->addWidget(remove);
    grid->addLayout(actions, row, 6);
    ++row;

    if (locked) {
        grid->addWidget(subtleLabel(QStringLiteral("Fixed now that your graph holds values for it."), this),
                        row, 1, 1, 2);
        ++row;
    }
    if (property.kind == PropertyKind::Choice) {
        const QStringList options = property.options.value_or(QStringList());
        auto* line = new QHBoxLayout;
        auto* list = subtleLabel(options.isEmpty()
                                     ? QStringLiteral("No options yet")
                                     : QStringLiteral("Options: %1").arg(options.join(QStringLiteral(", "))),
                                 this);
        list->setWordWrap(true);
        line->addWidget(list, 1);
        auto* edit = new QPushButton(QStringLiteral("Edit Options…"), this);
        edit->setObjectName(key("propOptions:", id));
        connect(edit, &QPushButton::clicked, this, [this, property] { editOptions(property); });
        line->addWidget(edit);
        grid->addLayout(line, row, 0, 1, 3);
        ++row;
    }
}

QWidget* ShapeTypeEditor::defaultEditor(const PropertyDef& property) {
    const QUuid id = property.id;
    const PropertyOwner owner = m_owner;
    const int missing = m_session.missingCount(id, owner);
    const QString reach =
        missing > 0
            ? QStringLiteral("A default reaches every node without a value at once (%1 now).").arg(missing)
            : QStringLiteral("A default reaches every node without a value at once.");
    if (property.kind == PropertyKind::Boolean || property.kind == PropertyKind::Choice) {
        auto* combo = new QComboBox(this);
        combo->setObjectName(key("propDefault:", id));
        combo->setToolTip(reach);
        combo->addItem(QStringLiteral("None"));
        if (property.kind == PropertyKind::Boolean) {
            combo->addItem(QStringLiteral("Yes"), true);
            combo->addItem(QStringLiteral("No"), false);
            if (auto value = property.validDefault())
                if (const bool* flag = value->asBool())
                    combo->setCurrentIndex(*flag ? 1 : 2);
        } else {
            for (const QString& option : property.options.value_or(QStringList()))
                combo->addItem(option, option);
            if (auto value = property.validDefault())
                if (auto text = value->stringValue())
                    combo->setCurrentIndex(std::max(0, combo->findData(*text)));
        }
        connect(combo, &QComboBox::activated, this, [this, id, owner, combo, kind = property.kind] {
            const QVariant data = combo->currentData();
            if (!data.isValid())
                m_session.shape().setDefault(id, owner, std::nullopt);
            else if (kind == PropertyKind::Boolean)
                m_session.shape().setDefault(id, owner, GraphValue::boolean(data.toBool()));
            else
                m_session.shape().setDefault(id, owner, GraphValue::string(data.toString()));
        });
        return combo;
    }
    auto* field = new QLineEdit(this);
    field->setObjectName(key("propDefault:", id));
    field->setPlaceholderText(QStringLiteral("None"));
    field->setToolTip(reach);
    const QString shown = property.defaultValue && !property.defaultValue->isNull()
                              ? property.defaultValue->displayText()
                              : QString();
    field->setText(shown);
    connect(field, &QLineEdit::editingFinished, this, [this, id, owner, field, shown] {
        if (field->text().trimmed() == shown)
            return;
        if (!m_session.shape().setDefaultFromText(id, owner, field->text()))
            field->setText(shown);
    });
    return field;
}

void ShapeTypeEditor::editOptions(const PropertyDef& property) {
    OptionsDialog dialog(property.name, property.options.value_or(QStringList()),
                         m_session.distinctValues(property.id, m_owner, 100), this);
    if (dialog.exec() == QDialog::Accepted)
        m_session.shape().setOptions(property.id, m_owner, dialog.options());
}

} // namespace corvantis
