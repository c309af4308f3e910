// The sheet of "Add File Type": category, file type name, extension, signature, offset and maximum
// size. OK hands the fields to the signature screen, which checks them and words any refusal; the
// sheet stays up until they pass.
#pragma once

#include <QDialog>

#include "app/wizard_controller.h"

class QComboBox;
class QLineEdit;

namespace nua::ui {

class AddFileTypeSheet : public QDialog {
 public:
  AddFileTypeSheet(SignatureScreen& screen, QWidget* parent);
  // Fills the category box, clears the fields and shows the sheet over the window.
  void begin();
  // Called after a file type was added.
  std::function<void()> added;

 private:
  void okClicked();

  SignatureScreen& screen_;
  QComboBox* category_ = nullptr;
  QLineEdit* software_ = nullptr;
  QLineEdit* extension_ = nullptr;
  QLineEdit* header_ = nullptr;
  QLineEdit* offset_ = nullptr;
  QLineEdit* size_ = nullptr;
};

}  // namespace nua::ui
