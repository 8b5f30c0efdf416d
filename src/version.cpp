// The version: a text that `strings` and vorlent-why find in the program's file. The daemon says it
// nowhere, since what it prints and logs is an interface.
extern "C" {
extern const char vorlent_version[];
[[gnu::used]] const char vorlent_version[] = "vorlent version " VORLENT_VERSION;
}
