#pragma once

#include <QMainWindow>

class QLineEdit;
class QListWidget;
class QPushButton;
class QSlider;
class QSpinBox;

// A little order desk: a toolbar, an order form and a long list of past orders.
class OrdersWindow : public QMainWindow {
    Q_OBJECT

public:
    OrdersWindow();

    // Where the demo script should aim: global centres of the controls and the list's rectangle,
    // as one line of JSON.
    QString layoutDescription() const;

private:
    void addOrder();
    void clearForm();

    QLineEdit* customerField_;
    QLineEdit* emailField_;
    QSpinBox* quantityField_;
    QSlider* prioritySlider_;
    QPushButton* addButton_;
    QPushButton* clearButton_;
    QListWidget* orderList_;
    int nextOrderNumber_ = 1001;
};
