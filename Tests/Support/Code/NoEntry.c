/* A function of another name, and a variable where a function is looked for. */
int Other(void);
int Other(void)
{
    return 1;
}

extern int PluginMain;
int PluginMain = 7;
