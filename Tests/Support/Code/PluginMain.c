/* Both names; each call counts, so that a second copy of the code would be seen. */
static int sCalls;

int PluginMain(void);
int PluginMain(void)
{
    return 100 + ++sCalls;
}

int Entry(void) __asm__("main");
int Entry(void)
{
    return 11;
}
