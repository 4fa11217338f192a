<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="en">
<context>
    <name>bellwick::AlertPresenter</name>
    <message numerus="yes">
        <source>%n min</source>
        <translation>
            <numerusform>%n min</numerusform>
            <numerusform>%n min</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>bellwick::MenuBarPresenter</name>
    <message numerus="yes">
        <source>%nm</source>
        <translation>
            <numerusform>%nm</numerusform>
            <numerusform>%nm</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%nh</source>
        <translation>
            <numerusform>%nh</numerusform>
            <numerusform>%nh</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>+ %n more</source>
        <translation>
            <numerusform>+ %n more</numerusform>
            <numerusform>+ %n more</numerusform>
        </translation>
    </message>
</context>
<context>
    <name>bellwick::SettingsPresenter</name>
    <message numerus="yes">
        <source>%n minute(s)</source>
        <translation>
            <numerusform>%n minute</numerusform>
            <numerusform>%n minutes</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n second(s)</source>
        <translation>
            <numerusform>%n second</numerusform>
            <numerusform>%n seconds</numerusform>
        </translation>
    </message>
    <message numerus="yes">
        <source>%n+ minute(s)</source>
        <translation>
            <numerusform>%n+ minutes</numerusform>
            <numerusform>%n+ minutes</numerusform>
        </translation>
    </message>
</context>
</TS>
