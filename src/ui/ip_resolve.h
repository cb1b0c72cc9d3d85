// IPResolve: the user's tool for host names and addresses.
#pragma once

#include <QWidget>

class QLineEdit;
class QRadioButton;

namespace qv::ui {

class IPResolve : public QWidget {
    Q_OBJECT
public:
    explicit IPResolve(QWidget* parent = nullptr);
    void Resolve();
    QLineEdit* input() const { return Text1_; }
    QLineEdit* result() const { return Text2_; }
    QRadioButton* addressToName() const { return Option1_; }

private:
    QLineEdit *Text1_, *Text2_;
    QRadioButton *Option1_, *Option2_;
};

}  // namespace qv::ui
