#include "add_file_type_sheet.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLineEdit>
#include <QPushButton>

namespace nua::ui {

AddFileTypeSheet::AddFileTypeSheet(SignatureScreen& screen, QWidget* parent) : QDialog(parent), screen_(screen) {
  setObjectName("addFileTypeSheet");
  setWindowTitle(tr("Add File Type"));
  setWindowModality(Qt::WindowModal);
  auto* form = new QFormLayout(this);
  category_ = new QComboBox;
  category_->setEditable(true);
  category_->setObjectName("addSigCategory");
  const auto field = [](const char* name, const QString& placeholder) {
    auto* edit = new QLineEdit;
    edit->setObjectName(name);
    edit->setPlaceholderText(placeholder);
    return edit;
  };
  software_ = field("addSigSoftware", tr("e.g. My Camera Movie"));
  extension_ = field("addSigExtension", tr("e.g. mcm"));
  header_ = field("addSigHeader", tr("hex bytes, e.g. 4D 43 4D 31"));
  offset_ = field("addSigOffset", tr("0 to 1024"));
  size_ = field("addSigSize", tr("1 to 50000"));
  form->addRow(tr("Category:"), category_);
  form->addRow(tr("File Type Name:"), software_);
  form->addRow(tr("Extension:"), extension_);
  form->addRow(tr("Signature:"), header_);
  form->addRow(tr("Offset:"), offset_);
  form->addRow(tr("Maximum File Size to recover (MB):"), size_);
  auto* buttons = new QDialogButtonBox;
  QPushButton* ok = buttons->addButton(tr("OK"), QDialogButtonBox::AcceptRole);
  QPushButton* cancel = buttons->addButton(tr("Cancel"), QDialogButtonBox::RejectRole);
  ok->setObjectName("addSigOK");
  cancel->setObjectName("addSigCancel");
  // OK only checks here; the sheet closes itself when the fields pass.
  ok->setAutoDefault(false);
  connect(ok, &QPushButton::clicked, this, &AddFileTypeSheet::okClicked);
  connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
  form->addRow(buttons);
}

void AddFileTypeSheet::begin() {
  // A sheet still up from before is closed first.
  if (isVisible()) reject();
  category_->clear();
  for (const std::string& name : screen_.categoryNames()) category_->addItem(QString::fromStdString(name));
  category_->setCurrentIndex(-1);
  category_->clearEditText();
  for (QLineEdit* edit : {software_, extension_, header_, offset_, size_}) edit->clear();
  open();
}

void AddFileTypeSheet::okClicked() {
  NewSigFields fields;
  fields.category = category_->currentText().toStdString();
  fields.software = software_->text().toStdString();
  fields.extension = extension_->text().toStdString();
  fields.header = header_->text().toStdString();
  fields.offset = offset_->text().toStdString();
  fields.size = size_->text().toStdString();
  if (!screen_.addNewSigOKClicked(fields)) return;
  accept();
  if (added) added();
}

}  // namespace nua::ui
