#include "ui/combo_selector.h"

#include <QComboBox>

namespace qv::ui {

void ComboSelector::clear() { box_->clear(); }

void ComboSelector::add(const std::string& item) { box_->addItem(QString::fromStdString(item)); }

int ComboSelector::count() const { return box_->count(); }

std::string ComboSelector::item(int index) const {
    return index >= 0 && index < box_->count() ? box_->itemText(index).toStdString() : std::string();
}

bool ComboSelector::select(int index) {
    if (index < 0 || index >= box_->count()) {
        box_->setCurrentIndex(-1);
        return false;
    }
    box_->setCurrentIndex(index);
    // An editable box keeps what was typed over the same item; the selection
    // shows the item itself.
    if (box_->isEditable()) box_->setEditText(box_->itemText(index));
    return true;
}

int ComboSelector::selected() const { return box_->currentIndex(); }

std::string ComboSelector::text() const { return box_->currentText().toStdString(); }

}  // namespace qv::ui
