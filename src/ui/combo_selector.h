// A trace selector on a combo box: what the readers and the selector steps
// fill and read is what the user sees and picks.
#pragma once

#include "trace/reader.h"

class QComboBox;

namespace qv::ui {

class ComboSelector : public qv::trace::Selector {
public:
    explicit ComboSelector(QComboBox* box) : box_(box) {}
    void attach(QComboBox* box) { box_ = box; }
    void clear() override;
    void add(const std::string& item) override;
    int count() const override;
    std::string item(int index) const override;
    // Sets the current item without the box's `activated`: a selection made
    // by the program is never taken for the user's click.
    bool select(int index) override;
    int selected() const override;
    std::string text() const override;

private:
    QComboBox* box_;
};

}  // namespace qv::ui
