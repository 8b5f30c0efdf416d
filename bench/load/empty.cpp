// An empty program that is linked with the daemon's libraries.
int main() {
  return 0;
}
