#include "OrdersWindow.h"

#include <QAction>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QStatusBar>
#include <QStyle>
#include <QToolBar>
#include <QVBoxLayout>

namespace {

const char* const customers[] = {"Northwind Traders", "Blue Harbor Cafe", "Kite & Key Books", "Lumen Studio",
                                 "Orchard Lane Farm", "Pixel Forge",     "Riverside Clinic", "Summit Outfitters"};
const char* const products[] = {"espresso beans", "notebooks", "desk lamps", "trail maps", "printer paper",
                                "USB cables",     "tea sampler", "sketch pads"};

QJsonArray centreOf(const QWidget* widget)
{
    const QPoint centre = widget->mapToGlobal(widget->rect().center());
    return {centre.x(), centre.y()};
}

}  // namespace

OrdersWindow::OrdersWindow()
{
    setWindowTitle("Acme Orders");

    QToolBar* toolbar = addToolBar("Main");
    toolbar->setMovable(false);
    toolbar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    toolbar->addAction(style()->standardIcon(QStyle::SP_FileIcon), "New");
    toolbar->addAction(style()->standardIcon(QStyle::SP_DialogOpenButton), "Open");
    toolbar->addAction(style()->standardIcon(QStyle::SP_DialogSaveButton), "Save");
    toolbar->addSeparator();
    toolbar->addAction(style()->standardIcon(QStyle::SP_BrowserReload), "Refresh");

    auto* central = new QWidget;
    auto* columns = new QHBoxLayout(central);

    auto* formBox = new QGroupBox("New order");
    auto* form = new QFormLayout;
    customerField_ = new QLineEdit;
    customerField_->setPlaceholderText("Customer name");
    emailField_ = new QLineEdit;
    emailField_->setPlaceholderText("name@example.com");
    quantityField_ = new QSpinBox;
    quantityField_->setRange(1, 999);
    prioritySlider_ = new QSlider(Qt::Horizontal);
    prioritySlider_->setRange(0, 100);
    prioritySlider_->setValue(20);
    form->addRow("Customer", customerField_);
    form->addRow("Email", emailField_);
    form->addRow("Quantity", quantityField_);
    form->addRow("Priority", prioritySlider_);
    auto* buttons = new QHBoxLayout;
    addButton_ = new QPushButton("Add order");
    clearButton_ = new QPushButton("Clear");
    buttons->addWidget(addButton_);
    buttons->addWidget(clearButton_);
    buttons->addStretch();
    auto* formColumn = new QVBoxLayout;
    formColumn->addLayout(form);
    formColumn->addLayout(buttons);
    formColumn->addStretch();
    formBox->setLayout(formColumn);

    auto* listBox = new QGroupBox("Recent orders");
    auto* listColumn = new QVBoxLayout(listBox);
    orderList_ = new QListWidget;
    for (int index = 0; index < 200; ++index) {
        orderList_->addItem(QString("#%1  %2 — %3 × %4")
                                .arg(nextOrderNumber_++)
                                .arg(customers[index % 8])
                                .arg(1 + (index * 7) % 40)
                                .arg(products[(index * 3) % 8]));
    }
    listColumn->addWidget(orderList_);

    columns->addWidget(formBox, 2);
    columns->addWidget(listBox, 3);
    setCentralWidget(central);
    statusBar()->showMessage("200 orders loaded");

    connect(addButton_, &QPushButton::clicked, this, &OrdersWindow::addOrder);
    connect(clearButton_, &QPushButton::clicked, this, &OrdersWindow::clearForm);
    connect(prioritySlider_, &QSlider::valueChanged, this,
            [this](int value) { statusBar()->showMessage(QString("Priority %1").arg(value)); });
}

void OrdersWindow::addOrder()
{
    const QString customer = customerField_->text().isEmpty() ? "Walk-in customer" : customerField_->text();
    orderList_->insertItem(0, QString("#%1  %2 — %3 × custom order")
                                  .arg(nextOrderNumber_++)
                                  .arg(customer)
                                  .arg(quantityField_->value()));
    orderList_->setCurrentRow(0);
    orderList_->scrollToTop();
    statusBar()->showMessage("Order added for " + customer);
}

void OrdersWindow::clearForm()
{
    customerField_->clear();
    emailField_->clear();
    quantityField_->setValue(1);
    statusBar()->showMessage("Form cleared");
}

QString OrdersWindow::layoutDescription() const
{
    const QPoint listOrigin = orderList_->mapToGlobal(QPoint(0, 0));
    // The slider's handle sits at its value's share of the groove.
    const double share = static_cast<double>(prioritySlider_->value() - prioritySlider_->minimum()) /
                         (prioritySlider_->maximum() - prioritySlider_->minimum());
    const QPoint sliderOrigin = prioritySlider_->mapToGlobal(QPoint(0, 0));
    const int handleX = sliderOrigin.x() + 6 + static_cast<int>(share * (prioritySlider_->width() - 12));
    const QJsonObject layout{
        {"window", QJsonArray{geometry().x(), geometry().y(), width(), height()}},
        {"customerField", centreOf(customerField_)},
        {"emailField", centreOf(emailField_)},
        {"quantityField", centreOf(quantityField_)},
        {"addButton", centreOf(addButton_)},
        {"clearButton", centreOf(clearButton_)},
        {"sliderHandle", QJsonArray{handleX, sliderOrigin.y() + prioritySlider_->height() / 2}},
        {"sliderEnd", QJsonArray{sliderOrigin.x() + prioritySlider_->width() - 8,
                                 sliderOrigin.y() + prioritySlider_->height() / 2}},
        {"list", QJsonArray{listOrigin.x(), listOrigin.y(), orderList_->width(), orderList_->height()}},
    };
    return QString::fromUtf8(QJsonDocument(layout).toJson(QJsonDocument::Compact));
}
