#include <QApplication>
#include <QMainWindow>

int main(int argc, char* argv[]) {
  QApplication app(argc, argv);
  QMainWindow window;
  window.setWindowTitle(QStringLiteral("Telmon"));
  window.show();
  return QApplication::exec();
}
