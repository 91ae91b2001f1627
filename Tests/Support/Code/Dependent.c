/* Its only entry is that of what it depends on. */
int PluginMain(void);

int Other(void);
int Other(void)
{
    return PluginMain();
}
