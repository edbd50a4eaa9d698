import java.io.BufferedInputStream;
import java.io.BufferedOutputStream;
import java.io.BufferedReader;
import java.io.DataInputStream;
import java.io.DataOutputStream;
import java.io.InputStreamReader;
import java.io.StringReader;
import java.io.StringWriter;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;

import javax.xml.transform.stream.StreamSource;

import net.sf.saxon.s9api.Processor;
import net.sf.saxon.s9api.Xslt30Transformer;
import net.sf.saxon.s9api.XsltExecutable;

// Formats a list of expressions, which stays in memory as texts, as often as its standard input has a line.
// Arguments: the stylesheet, the file with the expressions, the file for the texts of the first pass. Both
// files hold, for each text, its length in bytes (32 bits, big-endian) and its UTF-8.
public final class SaxonFormatter {
  private final Processor processor = new Processor(false);
  private final XsltExecutable stylesheet;
  private final String[] expressions;

  private SaxonFormatter(Path stylesheetFile, Path expressionFile) throws Exception {
    stylesheet = processor.newXsltCompiler().compile(new StreamSource(stylesheetFile.toFile()));
    expressions = read(expressionFile);
  }

  private static String[] read(Path file) throws Exception {
    try (DataInputStream in = new DataInputStream(new BufferedInputStream(Files.newInputStream(file)))) {
      String[] texts = new String[in.readInt()];
      for (int i = 0; i < texts.length; ++i) {
        texts[i] = new String(in.readNBytes(in.readInt()), StandardCharsets.UTF_8);
      }
      return texts;
    }
  }

  private String format(String expression) throws Exception {
    StringWriter text = new StringWriter();
    Xslt30Transformer transformer = stylesheet.load30();
    transformer.transform(new StreamSource(new StringReader(expression)), processor.newSerializer(text));
    return text.toString();
  }

  private void writeTexts(Path file) throws Exception {
    try (DataOutputStream out = new DataOutputStream(new BufferedOutputStream(Files.newOutputStream(file)))) {
      for (String expression : expressions) {
        byte[] bytes = format(expression).getBytes(StandardCharsets.UTF_8);
        out.writeInt(bytes.length);
        out.write(bytes);
      }
    }
  }

  private long pass() throws Exception {
    long characters = 0;
    for (String expression : expressions) {
      characters += format(expression).length();
    }
    return characters;
  }

  public static void main(String[] arguments) throws Exception {
    SaxonFormatter formatter = new SaxonFormatter(Path.of(arguments[0]), Path.of(arguments[1]));
    formatter.writeTexts(Path.of(arguments[2]));
    System.out.println("ready");
    BufferedReader commands = new BufferedReader(new InputStreamReader(System.in, StandardCharsets.US_ASCII));
    while (commands.readLine() != null) {
      System.out.println(formatter.pass());
    }
  }
}
