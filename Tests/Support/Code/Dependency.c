int PluginMain(void);
int PluginMain(void)
{
    return 5;
}
